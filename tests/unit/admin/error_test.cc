#include <utility>

#include "admin/queries.h"
#include "admin_test.h"

namespace admin {
namespace {

class DatabaseErrorTest : public AdminTest {
 protected:
  /// The error after a statement that fails with this reason.
  Error After(const std::string& reason) {
    database_.Execute(
        "CREATE TEMP TRIGGER refuse BEFORE INSERT ON entry BEGIN "
        "SELECT RAISE(ABORT, '" +
        reason + "'); END");
    EXPECT_FALSE(database_.Execute(
        "INSERT INTO entry VALUES (1, 'h', 'p', 1, 1, 0, 0, 0, 0, 1, '{}')"));
    Error error = DatabaseError(database_);
    database_.Execute("DROP TRIGGER refuse");
    return error;
  }
};

TEST_F(DatabaseErrorTest, KnownReason_HasAHint) {
  const std::pair<const char*, const char*> hints[] = {
      {"database is locked", "another program is using it, try again later"},
      {"database table is locked", "another program is using it, try again later"},
      {"database disk image is malformed", "run vexosharing check"},
      {"file is not a database", "restore a backup with vexosharing restore"},
      {"database or disk is full", "free some disk space"},
      {"disk I/O error", "the disk is full or failing"}};
  for (const auto& [reason, hint] : hints) {
    const Error error = After(reason);
    EXPECT_EQ(error.code, kDatabaseNotUsable);
    EXPECT_EQ(error.message, std::string("database error: ") + reason);
    EXPECT_EQ(error.hint, hint);
    EXPECT_EQ(error.Text(), error.message + "; " + hint);
  }
}

TEST_F(DatabaseErrorTest, OtherReason_HasNoHint) {
  const Error error = After("refused");
  EXPECT_EQ(error.code, kDatabaseNotUsable);
  EXPECT_EQ(error.Text(), "database error: refused");
}

TEST_F(DatabaseErrorTest, Interruption_HasACodeOfItsOwn) {
  EXPECT_EQ(After("interrupted").code, kInterrupted);
}

TEST_F(DatabaseErrorTest, NoReason_PointsToTheSystemLog) {
  const Error error = DatabaseError(database_);
  EXPECT_EQ(error.code, kDatabaseNotUsable);
  EXPECT_EQ(error.hint, "see the system log");
}

TEST(Error, WithoutCode_IsNone) {
  EXPECT_FALSE(Error{});
  EXPECT_TRUE((Error{kFailed, "", ""}));
}

}  // namespace
}  // namespace admin
