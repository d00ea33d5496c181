#include <gmock/gmock.h>

#include "log_matchers.h"
#include "sharing_db.h"
#include "sharinglogin.h"
#include "visitor_test.h"

namespace VEXO {
namespace {

using sharing::db::SharingDB;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

class UseCountTest : public AuthorizeTest {};

TEST_F(UseCountTest, Call_AddsOneToThatLink) {
  EXPECT_TRUE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_TRUE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_EQ((fakes::Rows{{"2"}, {"0"}}),
            platform_.Sql("SELECT use_count FROM entry ORDER BY id"));
}

TEST_F(UseCountTest, Call_WritesTheWholeRowInTheTransactionThatReadIt) {
  EXPECT_TRUE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_THAT(
      platform_.statements(),
      ElementsAre("BEGIN IMMEDIATE", "SELECT * FROM entry WHERE hash = 'hash'",
                  MatchesRegex("UPDATE entry SET auto_gc='1',data='.*',enabled='1',"
                               "expire_at='0',expire_times='0',hash='hash',"
                               "owner_uid='1000',project_name='project',start_at='0',"
                               "use_count='1' WHERE id=1"),
                  "COMMIT", "PRAGMA wal_checkpoint;"));
}

TEST_F(UseCountTest, BeginFails_ReturnsFalseAndReadsNothing) {
  platform_.FailStatement("BEGIN");

  EXPECT_FALSE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_THAT(platform_.statements(),
              ElementsAre("BEGIN IMMEDIATE", "PRAGMA wal_checkpoint;"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(UseCountTest, CommitFails_ReturnsFalseAndRollsBackOnce) {
  platform_.FailStatement("COMMIT");

  EXPECT_FALSE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_THAT(platform_.statements(), Contains("ROLLBACK").Times(1));
  EXPECT_EQ("0", One("SELECT use_count FROM entry WHERE id=1"));
}

TEST_F(UseCountTest, CallerHasTransaction_CountsInsideIt) {
  SharingDB& db = SharingDB::Instance();
  ASSERT_TRUE(db.Begin());

  EXPECT_TRUE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_EQ("1", One("SELECT use_count FROM entry WHERE id=1"));
  ASSERT_TRUE(db.Execute("ROLLBACK"));
  EXPECT_EQ("0", One("SELECT use_count FROM entry WHERE id=1"));
}

TEST_F(UseCountTest, UnknownLink_IsFalseSilentlyAndChangesNothing) {
  EXPECT_FALSE(VEXO::VexoSharingIncreaseUseCount("unknown"));
  EXPECT_THAT(platform_.statements(), Contains("ROLLBACK"));
  EXPECT_EQ("0", One("SELECT sum(use_count) FROM entry"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(UseCountTest, LinkThatMayNotBeUsed_IsStillCounted) {
  platform_.Sql("UPDATE entry SET enabled=0, expire_at=1, expire_times=1, use_count=1");

  EXPECT_TRUE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_EQ("2", One("SELECT use_count FROM entry WHERE id=1"));
}

TEST_F(UseCountTest, LinkThatIsNotLegal_IsFalse) {
  platform_.Sql("UPDATE entry SET data='{}'");

  EXPECT_FALSE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_THAT(log_.lines(),
              ElementsAre(fakes::Refusal("entry", 336, "! app_.isObject()")));
}

TEST_F(UseCountTest, LargestNumber_IsKept) {
  platform_.Sql("UPDATE entry SET use_count=2147483646");

  EXPECT_TRUE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_TRUE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_EQ("2147483647", One("SELECT use_count FROM entry WHERE id=1"));
}

TEST_F(UseCountTest, UpdateFails_IsFalse) {
  platform_.FailStatement("UPDATE");

  EXPECT_FALSE(VEXO::VexoSharingIncreaseUseCount("hash"));
}

TEST_F(UseCountTest, PlainFunction_Returns1Or0AndThrowsForNull) {
  ExpectNullRefused([] { ::VexoSharingIncreaseUseCount(nullptr); });
  EXPECT_EQ(1, ::VexoSharingIncreaseUseCount("hash"));
  EXPECT_EQ(0, ::VexoSharingIncreaseUseCount("unknown"));
}

}  // namespace
}  // namespace VEXO
