#include "admin/accounts.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <optional>

#include "admin_test.h"

namespace admin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DirectoryTest : public testing::Test {
 protected:
  static constexpr unsigned int kKnown = 1;
  static constexpr unsigned int kMissing = 2;
  static constexpr unsigned int kFailing = 3;

  DirectoryTest() { asked.clear(); }

  static bool ToId(const std::string& name, unsigned int& id) {
    asked.push_back(name);
    if (name != "known") return false;
    id = kKnown;
    return true;
  }
  static bool ToName(const unsigned int& id, std::string& name) {
    asked.push_back(std::to_string(id));
    if (id == kFailing) errno = EIO;
    if (id != kKnown) return false;
    name = "known";
    return true;
  }

  static inline std::vector<std::string> asked;
  Directory directory_{ToId, ToName};
};

TEST_F(DirectoryTest, AccountInARun_IsLookedUpOnce) {
  const AccountCache cache;
  for (int i = 0; i < 2; ++i) {
    std::string name = "before";
    EXPECT_EQ(directory_.FindName(kMissing, name), AccountState::kNotFound);
    EXPECT_EQ(name, "before");
    EXPECT_EQ(directory_.FindName(kKnown, name), AccountState::kFound);
    EXPECT_EQ(name, "known");
    unsigned int id = 9;
    EXPECT_EQ(directory_.FindId("missing", id), AccountState::kNotFound);
    EXPECT_EQ(id, 9U);
    EXPECT_EQ(directory_.FindId("known", id), AccountState::kFound);
    EXPECT_EQ(id, kKnown);
  }
  EXPECT_THAT(asked, ElementsAre("2", "1", "missing", "known"));
}

TEST_F(DirectoryTest, FailedLookup_IsRepeated) {
  const AccountCache cache;
  std::string name;
  EXPECT_EQ(directory_.FindName(kFailing, name), AccountState::kUnknown);
  EXPECT_EQ(directory_.FindName(kFailing, name), AccountState::kUnknown);
  EXPECT_THAT(asked, ElementsAre("3", "3"));
}

TEST_F(DirectoryTest, AccountOutsideOfARun_IsLookedUpEachTime) {
  EXPECT_EQ(directory_.Name(kKnown), "known");
  EXPECT_EQ(directory_.Name(kKnown), "known");
  EXPECT_EQ(directory_.Name(kMissing), "");
  EXPECT_EQ(directory_.Name(kMissing), "");
  EXPECT_THAT(asked, ElementsAre("1", "1", "2", "2"));
}

TEST_F(DirectoryTest, VeryManyAccounts_AreNotAllKept) {
  const AccountCache cache;
  constexpr unsigned int kMost = 100000;
  for (unsigned int id = 10; id <= 10 + kMost; ++id) directory_.Name(id);
  ASSERT_EQ(asked.size(), kMost + 1);

  directory_.Name(10 + kMost);
  EXPECT_EQ(asked.size(), kMost + 1);
  directory_.Name(10);
  EXPECT_EQ(asked.size(), kMost + 2);
}

TEST_F(DirectoryTest, VeryLongName_IsNotKept) {
  const AccountCache cache;
  unsigned int id = 0;
  for (const size_t length : {256, 256, 257, 257}) {
    EXPECT_EQ(directory_.FindId(std::string(length, 'x'), id), AccountState::kNotFound);
  }
  EXPECT_EQ(asked.size(), 3U);
}

using AccountsTest = AdminTest;

TEST_F(AccountsTest, ChangedNameOfAnAccount_IsSeenInTheNextRun) {
  {
    const AccountCache run;
    EXPECT_EQ(Users().Name(kBob), "bob");
    EXPECT_EQ(Groups().Name(kStaff), "staff");
    platform_.users["robert"] = platform_.users["bob"];
    platform_.users.erase("bob");
    platform_.groups.clear();
    EXPECT_EQ(Users().Name(kBob), "bob");
    EXPECT_EQ(Groups().Name(kStaff), "staff");
  }
  const AccountCache next_run;
  EXPECT_EQ(Users().Name(kBob), "robert");
  EXPECT_EQ(Groups().Name(kStaff), "");
}

TEST_F(AccountsTest, AccountsOfALink_AreThoseThatTheLibraryKnows) {
  Entry link = Link("a");
  link.set_protect_users({"bob", "zoe", "carol"});
  link.set_protect_gids({kDeleted, kStaff});
  platform_.users["carol"] = {5003, {}, ""};

  for (const bool in_a_run : {false, true}) {
    std::optional<AccountCache> cache;
    if (in_a_run) cache.emplace();
    EXPECT_THAT(Unresolved(AllowedUsers(link)), ElementsAre("zoe"));
    EXPECT_THAT(Unresolved(AllowedGroups(link)), ElementsAre("5999"));
    EXPECT_EQ(AllowedUsers(link).size(),
              link.get_protect_users().size() + link.get_protect_uids().size());
  }
  platform_.users.erase("bob");
  EXPECT_THAT(Unresolved(AllowedUsers(link)), ElementsAre("zoe", "5002"));
  EXPECT_THAT(Unresolved(AllowedUsers(Link("b"))), IsEmpty());
}

}  // namespace
}  // namespace admin
