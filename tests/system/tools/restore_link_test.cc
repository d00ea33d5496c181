#include "restore_link.h"

#include <gtest/gtest.h>

#include "entry_db.h"
#include "sharing_db.h"
#include "system_test.h"

using system_test::kDatabase;
using system_test::SqlValue;
using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::SharingDB;
using VEXO::sharing::record::Entry;

namespace {

class RestoreLink : public testing::Test {
 protected:
  RestoreLink() {
    before.set_use_count(3);
    EXPECT_TRUE(EntryDB(db).Create(before));
    after = before;
    after.set_protect_title("changed");
    EXPECT_TRUE(EntryDB(db).Update(after));
  }
  ~RestoreLink() override { EXPECT_TRUE(EntryDB(db).Delete(before)); }

  std::string Stored(const std::string& what) const {
    return SqlValue(kDatabase, "SELECT " + what + " FROM entry");
  }
  std::string Title() const { return Stored("json_extract(data, '$.protect_title')"); }

  SharingDB& db = SharingDB::Instance();
  Entry before = system_test::Link("link");
  Entry after;
};

}  // namespace

TEST_F(RestoreLink, NoOtherChange_RestoresLink) {
  EXPECT_TRUE(tools::RestoreLink(db, before, after));
  EXPECT_EQ(Title(), "");
  EXPECT_EQ(Stored("use_count"), "3");
}

TEST_F(RestoreLink, UsesCountedSince_AreKept) {
  Entry used = after;
  used.set_use_count(5);
  ASSERT_TRUE(EntryDB(db).Update(used));

  EXPECT_TRUE(tools::RestoreLink(db, before, after));
  EXPECT_EQ(Title(), "");
  EXPECT_EQ(Stored("use_count"), "5");
}

TEST_F(RestoreLink, ChangeResetUseCount_AddsUsesSinceToOldCount) {
  after.set_expire_times(10);  // setting a limit resets the count
  ASSERT_EQ(after.get_use_count(), 0);
  Entry used = after;
  used.set_use_count(2);
  ASSERT_TRUE(EntryDB(db).Update(used));

  EXPECT_TRUE(tools::RestoreLink(db, before, after));
  EXPECT_EQ(Stored("use_count"), "5");
  EXPECT_EQ(Stored("expire_times"), "0");
}

TEST_F(RestoreLink, ChangedAgain_ReturnsFalseAndKeepsLink) {
  Entry other = after;
  other.set_enabled(false);
  ASSERT_TRUE(EntryDB(db).Update(other));

  EXPECT_FALSE(tools::RestoreLink(db, before, after));
  EXPECT_EQ(Title(), "changed");
  EXPECT_EQ(Stored("enabled"), "0");
}

TEST_F(RestoreLink, LinkDeleted_ReturnsFalse) {
  ASSERT_TRUE(EntryDB(db).Delete(after));

  EXPECT_FALSE(tools::RestoreLink(db, before, after));
  EXPECT_EQ(Stored("count(*)"), "0");
}
