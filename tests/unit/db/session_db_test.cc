#include "session_db.h"

#include <gmock/gmock.h>

#include "base_db.h"
#include "failure_sweep.h"
#include "fake_platform.h"
#include "legal_records.h"
#include "log_capture.h"
#include "log_matchers.h"
#include "one_second.h"
#include "store_test.h"

namespace VEXO::sharing::db {
namespace {

using fakes::InOneSecond;
using fakes::LegalSession;
using record::Session;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const char kDraw[] =
    "getString(ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_, 32)";

class SessionDBTest : public StoreFixture<SessionDB> {
 protected:
  void Row(int id, const std::string& session_id, long timeout = 9999999999) {
    platform_.Sql("INSERT INTO session VALUES (" + std::to_string(id) + ",'" +
                      session_id + "',1000,'192.0.2.7'," + std::to_string(timeout) + ")",
                  kPath);
  }

  Calls SessionIds() { return Values("session", "session_id"); }
};

TEST_F(SessionDBTest, Create_KeepsTheIdItHolds) {
  Session session = LegalSession("own id");
  session.set_timeout(9999999999);

  EXPECT_TRUE(store_.Create(session));
  EXPECT_EQ(1, session.get_id());
  EXPECT_EQ("INSERT INTO session VALUES (NULL,'own id','1000','192.0.2.7','9999999999')",
            db_.GetLastQuery());
  EXPECT_THAT(platform_.calls({"getString"}), IsEmpty());
}

TEST_F(SessionDBTest, Create_SameIdTwice_IsRefused) {
  Session session = LegalSession("own id");
  Session second = LegalSession("own id");
  ASSERT_TRUE(store_.Create(session));

  EXPECT_FALSE(store_.Create(second));
  EXPECT_EQ(0, second.get_id());
}

TEST_F(SessionDBTest, Create_NoUser_IsStoredUnsigned) {
  Session session = LegalSession("own id");
  session.set_uid(4294967295U);

  ASSERT_TRUE(store_.Create(session));
  EXPECT_EQ((fakes::Rows{{"4294967295"}}),
            platform_.Sql("SELECT uid FROM session", kPath));
}

TEST_F(SessionDBTest, CreateWithSessionId_Draws32Characters) {
  Session session = LegalSession("own id");

  EXPECT_TRUE(store_.CreateWithSessionId(session));
  EXPECT_THAT(platform_.calls({"getString"}), ElementsAre(kDraw));
  EXPECT_THAT(session.get_session_id(), SizeIs(32));
  EXPECT_THAT(SessionIds(), ElementsAre(session.get_session_id()));
  EXPECT_EQ(1, session.get_id());
}

TEST_F(SessionDBTest, CreateWithSessionId_Collision_DrawsAgainAtTheSameLength) {
  Row(5, "taken");
  Session session = LegalSession();
  platform_.random_strings.assign(4, "taken");
  platform_.random_strings.push_back("free");

  EXPECT_TRUE(store_.CreateWithSessionId(session));
  EXPECT_EQ("free", session.get_session_id());
  EXPECT_THAT(platform_.calls({"getString"}), SizeIs(5));
  EXPECT_THAT(platform_.calls({"getString"}), Each(kDraw));
}

TEST_F(SessionDBTest, CreateWithSessionId_AlwaysRefused_GivesUpAfter51Attempts) {
  Row(5, "taken");
  Session session = LegalSession("own id");
  platform_.random_strings.assign(50, "taken");
  platform_.random_strings.push_back("last");
  platform_.FailStatement("INSERT INTO session");

  EXPECT_FALSE(store_.CreateWithSessionId(session));
  EXPECT_THAT(platform_.calls({"getString"}), SizeIs(51));
  EXPECT_EQ("last", session.get_session_id());
  EXPECT_EQ(0, session.get_id());
}

TEST_F(SessionDBTest, CreateWithSessionId_Attempt51Succeeds_IsStored) {
  Row(5, "taken");
  Session session = LegalSession();
  platform_.random_strings.assign(50, "taken");
  platform_.random_strings.push_back("free");

  EXPECT_TRUE(store_.CreateWithSessionId(session));
  EXPECT_EQ("free", session.get_session_id());
}

TEST_F(SessionDBTest, CreateWithSessionId_DrawFails_StoresNoEmptyId) {
  Session session = LegalSession("own id");
  platform_.Fail("getString");
  platform_.ForgetCalls();

  EXPECT_FALSE(store_.CreateWithSessionId(session));
  EXPECT_EQ("", session.get_session_id());
  EXPECT_THAT(platform_.statements(), IsEmpty());
}

TEST_F(SessionDBTest, GetBySessionId_FindsTheSession) {
  Row(5, "a");
  Row(6, "b");
  Session session;
  platform_.ForgetCalls();

  EXPECT_TRUE(store_.GetBySessionId("b", session));
  EXPECT_EQ(6, session.get_id());
  EXPECT_THAT(Statements(), ElementsAre("SELECT * FROM session WHERE session_id = 'b'"));
}

TEST_F(SessionDBTest, GetBySessionId_Unknown_LeavesTheRecord) {
  Session session = LegalSession("before");

  EXPECT_FALSE(store_.GetBySessionId("missing", session));
  EXPECT_EQ("before", session.get_session_id());
  EXPECT_EQ(0, session.get_id());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SessionDBTest, SessionId_Quote_CannotBreakTheStatement) {
  Row(5, "a");
  Session session;

  EXPECT_FALSE(store_.GetBySessionId("x' OR '1'='1", session));
  EXPECT_EQ("SELECT * FROM session WHERE session_id = 'x'' OR ''1''=''1'",
            db_.GetLastQuery());
  EXPECT_TRUE(store_.DeleteBySessionId("x' OR '1'='1"));
  EXPECT_EQ("DELETE FROM session WHERE session_id = 'x'' OR ''1''=''1'",
            db_.GetLastQuery());
  EXPECT_THAT(SessionIds(), ElementsAre("a"));
}

TEST_F(SessionDBTest, SessionId_UnusualText_FindsItsRow) {
  Session session = LegalSession(UnusualText());
  Session found;
  ASSERT_TRUE(store_.Create(session));

  EXPECT_TRUE(store_.GetBySessionId(UnusualText(), found));
  EXPECT_TRUE(UnusualText() == found.get_session_id());
}

TEST_F(SessionDBTest, DeleteBySessionId_RemovesThatSession) {
  Row(5, "a");
  Row(6, "b");
  platform_.ForgetCalls();

  EXPECT_TRUE(store_.DeleteBySessionId("a"));
  EXPECT_TRUE(store_.DeleteBySessionId("a"));
  EXPECT_THAT(Statements(), Each("DELETE FROM session WHERE session_id = 'a'"));
  EXPECT_THAT(SessionIds(), ElementsAre("b"));
  platform_.FailStatement("DELETE");
  EXPECT_FALSE(store_.DeleteBySessionId("b"));
}

TEST_F(SessionDBTest, DeadlineThisSecond_IsNotPurgedButRefusedWithTheRecordFilled) {
  Calls left;
  bool found = true;
  Session session;
  fakes::LogCapture log;
  InOneSecond([&](long now) {
    platform_.Sql("DELETE FROM session", kPath);
    Row(5, "second before", now - 1);
    Row(6, "this second", now);
    Row(7, "second after", now + 1);
    store_.PurgeExpired(1.0F);
    left = SessionIds();
    found = store_.GetBySessionId("this second", session);
  });

  EXPECT_THAT(left, ElementsAre("this second", "second after"));
  EXPECT_FALSE(found);
  EXPECT_EQ(6, session.get_id());
  EXPECT_EQ("192.0.2.7", session.get_ip());
  EXPECT_THAT(log.lines(),
              Contains(fakes::Refusal("session", 89, "time(NULL) >= timeout_")));
}

TEST_F(SessionDBTest, PurgeExpired_LongDeadlines_CompareAsNumbers) {
  Row(5, "nine digits", 999999999);
  Row(6, "eleven digits", 10000000000);

  EXPECT_TRUE(store_.PurgeExpired(1.0F));
  EXPECT_THAT(SessionIds(), ElementsAre("eleven digits"));
}

/// Sweeps one operation of the store.  The table has the expired session 5, "a", and the
/// session 6, "b".
template <class Act>
void SweepStore(Act act) {
  SweepFailures([&act](Failure& failure) {
    failure.platform.Sql(
        "INSERT INTO session VALUES (5,'a',1000,'192.0.2.7',1),"
        "(6,'b',1000,'192.0.2.7',9999999999)",
        kPath);
    BaseDB db(kPath, 0660);
    SessionDB store(db);
    failure.Arm();

    act(failure, store);
  });
}

std::string Rows(Failure& failure) {
  return failure.platform.Sql("SELECT count(*) FROM session", kPath)[0][0];
}

TEST(SessionDBSweep, CreateWithSessionId_AnyCallFails_StoresOneSession) {
  SweepStore([](Failure& failure, SessionDB& store) {
    Session session = LegalSession("own id");

    // One failed attempt is followed by another.
    EXPECT_TRUE(store.CreateWithSessionId(session));
    EXPECT_EQ("3", Rows(failure));
    EXPECT_EQ(7, session.get_id());
  });
}

TEST(SessionDBSweep, GetBySessionId_AnyCallFails_LeavesTheRecord) {
  SweepStore([](Failure& failure, SessionDB& store) {
    Session session = LegalSession("before");

    const bool found = store.GetBySessionId("b", session);
    EXPECT_EQ(IsUnseen(failure), found);
    EXPECT_EQ(found ? "b" : "before", session.get_session_id());
    EXPECT_EQ(found ? 6 : 0, session.get_id());
  });
}

TEST(SessionDBSweep, DeleteBySessionId_AnyCallFails_DeletesNothing) {
  SweepStore([](Failure& failure, SessionDB& store) {
    const bool deleted = store.DeleteBySessionId("b");
    // An id that could not be escaped is an empty text.
    const bool escaped = !failure.IsOf("VEXODBEscapeStringEX2");
    EXPECT_EQ(IsUnseen(failure) || !escaped, deleted);
    EXPECT_EQ(deleted && escaped ? "1" : "2", Rows(failure));
  });
}

}  // namespace
}  // namespace VEXO::sharing::db
