#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>
#include <string>

#include "entry_db.h"
#include "sharing_db.h"
#include "system_test.h"

using system_test::Account;
using system_test::Answer;
using system_test::InChild;
using system_test::kDatabase;
using system_test::Link;
using system_test::OwnerAndMode;
using system_test::SqlValue;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::SharingDB;
using VEXO::sharing::record::Entry;

namespace {

std::string Ids() {
  uid_t real = 0;
  uid_t effective = 0;
  uid_t saved = 0;
  getresuid(&real, &effective, &saved);
  std::ostringstream ids;
  ids << real << " " << effective << " " << saved << " group " << getegid();
  return ids.str();
}

/// Stores a link.  Returns whether it was stored, and the ids afterwards.
std::string StoreLink() {
  Entry link = Link("link");
  const bool stored = EntryDB(SharingDB::Instance()).Create(link);
  return (stored ? "stored, ids " : "refused, ids ") + Ids();
}

}  // namespace

TEST(Account, Root_StoresAsTheSystemAccountAndIsRootAgain) {
  const Answer answer = InChild(system_test::Root(), StoreLink);

  EXPECT_EQ(answer.text, "stored, ids 0 0 0 group 0");
  EXPECT_THAT(answer.log, IsEmpty());
  EXPECT_EQ(OwnerAndMode(kDatabase), "660 1:1");
  EXPECT_EQ(SqlValue(kDatabase, "SELECT hash FROM entry"), "link");
}

TEST(Account, SystemAccount_StoresWithoutAnySwitch) {
  const Answer answer = InChild(system_test::System(), StoreLink);

  EXPECT_EQ(answer.text, "stored, ids 1 1 1 group 1");
  EXPECT_THAT(answer.log, IsEmpty());
  EXPECT_EQ(OwnerAndMode(kDatabase), "660 1:1");
}

TEST(Account, RootActingAsAUser_StoresAndActsAsThatUserAgain) {
  const Answer answer = InChild(Account{0, 5001, 0, 5001, {}}, StoreLink);

  EXPECT_EQ(answer.text, "stored, ids 0 5001 0 group 5001");
  EXPECT_THAT(answer.log, IsEmpty());
  EXPECT_EQ(OwnerAndMode(kDatabase), "660 1:1");
}

TEST(Account, AnyOtherAccount_IsRefusedAndLogged) {
  const Answer answer = InChild(system_test::Neither(), StoreLink);

  EXPECT_EQ(answer.text, "refused, ids 5001 5001 5001 group 5001");
  EXPECT_THAT(answer.log, Contains("base_db:220 ERROR: IF_RUN_AS(1, 1)"));
  EXPECT_THAT(answer.log, Contains(AllOf(StartsWith("base_db:228 ("),
                                         HasSubstr(") failed to run as system\n\n"))));
  EXPECT_EQ(OwnerAndMode(kDatabase), "missing");
}

TEST(Account, AnyOtherAccount_CannotOpenAnExistingDatabase) {
  ASSERT_EQ(InChild(system_test::Root(), StoreLink).text, "stored, ids 0 0 0 group 0");
  ASSERT_EQ(chmod(system_test::kDatabaseFolder, 0755), 0);

  const Answer answer = InChild(system_test::Neither(), [] {
    Entry link;
    return EntryDB(SharingDB::Instance()).GetByHash("link", link) ? "found" : "refused";
  });

  EXPECT_EQ(answer.text, "refused");
  EXPECT_THAT(answer.log, Contains("base_db:232 ERROR: IF_RUN_AS(1, 1)"));
}

TEST(Account, AccountLostAfterOpening_FailsTheStatement) {
  const Answer answer = InChild(system_test::Root(), [] {
    SharingDB db;
    if (setresgid(5001, 5001, 5001) != 0 || setresuid(5001, 5001, 5001) != 0) return "";
    return db.Execute("SELECT 1") ? "ran" : "refused";
  });

  EXPECT_EQ(answer.text, "refused");
  EXPECT_THAT(answer.log, ElementsAre("base_db:343 ERROR: IF_RUN_AS(1, 1)",
                                      AllOf(StartsWith("base_db:351 ("),
                                            HasSubstr("failed to run as system\n\n"))));
}

TEST(Account, RootActingAsAUser_LeavesTheModeOfAnExistingFile) {
  // Such a process cannot read the directory with its own ids.
  InChild(system_test::Root(), StoreLink);
  ASSERT_EQ(chmod(kDatabase, 0600), 0);

  const Answer answer = InChild(Account{0, 5001, 0, 5001, {}}, [] {
    return std::string(SharingDB::Instance().IsGood() ? "good" : "not good");
  });

  EXPECT_EQ(answer.text, "good");
  EXPECT_EQ(OwnerAndMode(kDatabase), "600 1:1");
}

TEST(Account, IdsThatCannotBeRestored_AreLoggedAndTheWorkGoesOn) {
  // Only the effective id is root: once changed, it cannot be taken again.
  const Answer answer = InChild(Account{5001, 0, 5001, 0, {}}, StoreLink);

  EXPECT_EQ(answer.text, "stored, ids 5001 1 5001 group 1");
  EXPECT_THAT(answer.log, Contains("base_db:220 ERROR: ~IF_RUN_AS(0, 0)"));
  EXPECT_EQ(SqlValue(kDatabase, "SELECT hash FROM entry"), "link");
}
