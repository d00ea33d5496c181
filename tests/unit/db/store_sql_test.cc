#include "db/stores/store_sql.h"

#include <gmock/gmock.h>

#include "base_db.h"
#include "fake_platform.h"
#include "legal_records.h"
#include "log_capture.h"
#include "object.h"
#include "session.h"
#include "store_test.h"

namespace VEXO::sharing::db {
namespace {

using fakes::LegalSession;
using record::Session;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

class StoreSqlTest : public testing::Test {
 protected:
  StoreSqlTest() {
    platform_.Sql(
        "INSERT INTO session VALUES (1,'expired',5,'192.0.2.1',1000),"
        "(2,'b',5,'192.0.2.1',9999999999),(3,'c',5,'192.0.2.1',9999999999)",
        kPath);
  }

  bool First(const std::string& condition) {
    return GetFirst(db_, "SELECT * FROM session WHERE " + condition,
                    *session_.GetObject());
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
  BaseDB db_{kPath, 0660};
  Session session_ = LegalSession("before");
};

TEST_F(StoreSqlTest, GetFirst_SeveralRows_ReadsTheFirstAlone) {
  EXPECT_TRUE(First("id > 1 ORDER BY id"));
  EXPECT_EQ("b", session_.get_session_id());
  EXPECT_THAT(platform_.calls({"VEXODBFetchRow"}), ElementsAre("VEXODBFetchRow(result)"));
}

TEST_F(StoreSqlTest, GetFirst_NoRow_LeavesTheRecord) {
  EXPECT_FALSE(First("id > 3"));
  EXPECT_EQ("before", session_.get_session_id());
}

TEST_F(StoreSqlTest, GetFirst_FirstRowNotLegal_IsFalseWithTheRecordFilled) {
  EXPECT_FALSE(First("id > 0 ORDER BY id"));
  EXPECT_EQ("expired", session_.get_session_id());
  EXPECT_EQ(1, session_.get_id());
}

TEST_F(StoreSqlTest, GetFirst_StatementFails_LeavesTheRecordAndLogsNothing) {
  EXPECT_FALSE(First("no_such_column = 1"));
  EXPECT_EQ("before", session_.get_session_id());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(StoreSqlTest, PurgePastDeadline_Hit_DeletesInThatTable) {
  EXPECT_TRUE(PurgePastDeadline(db_, "session", 1.0F));
  EXPECT_THAT(db_.GetLastQuery(),
              MatchesRegex("DELETE FROM session WHERE timeout < '[0-9]+'"));
  EXPECT_EQ((fakes::Rows{{"2"}, {"3"}}), platform_.Sql("SELECT id FROM session", kPath));
}

TEST_F(StoreSqlTest, PurgePastDeadline_Miss_IsTrueWithoutAStatement) {
  platform_.ForgetCalls();

  EXPECT_TRUE(PurgePastDeadline(db_, "session", 0.0F));
  EXPECT_THAT(platform_.statements(), IsEmpty());
}

}  // namespace
}  // namespace VEXO::sharing::db
