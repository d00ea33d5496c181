#include "admin/queries.h"
#include "admin_test.h"

namespace admin {
namespace {

constexpr long kNow = 1000;

struct Case {
  bool enabled;
  long start_at;
  long expire_at;
  int expire_times;
  int use_count;
  const char* state;
};

// The first that holds of disabled, not started, expired and use limit reached.
constexpr Case kCases[] = {
    {true, 0, 0, 0, 0, "usable"},
    {true, 0, 0, 0, 99, "usable"},
    {true, kNow, kNow, 2, 1, "usable"},
    {true, kNow + 1, 0, 0, 0, "not_started"},
    {true, 0, kNow - 1, 0, 0, "expired"},
    {true, 0, 0, 2, 2, "used_up"},
    {true, 0, 0, 2, 3, "used_up"},
    {false, 0, 0, 0, 0, "disabled"},
    {false, kNow + 1, kNow - 1, 2, 2, "disabled"},
    {true, kNow + 1, kNow - 1, 2, 2, "not_started"},
    {true, 0, kNow - 1, 2, 2, "expired"},
};

class LinkStateTest : public AdminTest {};

TEST_F(LinkStateTest, RecordAndSql_GiveTheSameState) {
  for (const Case& each : kCases) {
    VEXO::sharing::record::Entry link = Link("hash");
    link.set_enabled(each.enabled);
    link.set_start_at(each.start_at);
    link.set_expire_at(each.expire_at);
    link.set_expire_times(each.expire_times);
    link.set_use_count(each.use_count);

    EXPECT_STREQ(StateName(StateOf(link, kNow)), each.state);
    link = Store(link);
    EXPECT_EQ(Value("SELECT " + StateSql(kNow) + " FROM entry"), each.state);
    ASSERT_TRUE(VEXO::sharing::db::EntryDB(database_).Delete(link));
  }
}

}  // namespace
}  // namespace admin
