#include "token_db.h"

#include <gmock/gmock.h>

#include <climits>

#include "base_db.h"
#include "digit_grouping.h"
#include "failure_sweep.h"
#include "fake_platform.h"
#include "legal_records.h"
#include "log_matchers.h"
#include "one_second.h"
#include "store_test.h"

namespace VEXO::sharing::db {
namespace {

using fakes::InOneSecond;
using fakes::LegalToken;
using record::Entry;
using record::Session;
using record::Token;
using testing::ElementsAre;
using testing::IsEmpty;

Session SessionOfRow(int id) {
  Session session;
  session.set_id(id);
  return session;
}

Entry EntryOfRow(int id) {
  Entry entry;
  entry.set_id(id);
  return entry;
}

class TokenDBTest : public StoreFixture<TokenDB> {
 protected:
  void Row(int id, int entry_id, int session_id, long timeout = 9999999999) {
    platform_.Sql("INSERT INTO token VALUES (" + std::to_string(id) + "," +
                      std::to_string(entry_id) + "," + std::to_string(session_id) + "," +
                      std::to_string(timeout) + ")",
                  kPath);
  }

  Calls Ids() { return Values("token", "id"); }
};

TEST_F(TokenDBTest, Create_WritesEntryThenSession) {
  Token token = LegalToken(12, 3);
  token.set_timeout(9999999999);

  EXPECT_TRUE(store_.Create(token));
  EXPECT_EQ(1, token.get_id());
  EXPECT_EQ("INSERT INTO token VALUES (NULL,'12','3','9999999999')", db_.GetLastQuery());
}

TEST_F(TokenDBTest, Create_PairThatHasAToken_IsNotRefused) {
  Token first = LegalToken();
  Token second = LegalToken();

  EXPECT_TRUE(store_.Create(first));
  EXPECT_TRUE(store_.Create(second));
  EXPECT_EQ(2, second.get_id());
}

TEST_F(TokenDBTest, GetBySessionEntry_FindsTheTokenOfThePair) {
  Row(5, 12, 3);
  Row(6, 3, 12);
  Token token;
  platform_.ForgetCalls();

  EXPECT_TRUE(store_.GetBySessionEntry(SessionOfRow(3), EntryOfRow(12), token));
  EXPECT_EQ(5, token.get_id());
  EXPECT_THAT(Statements(),
              ElementsAre("SELECT * FROM token WHERE session_id = 3 AND entry_id = 12"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(TokenDBTest, GetBySessionEntry_SessionNeverStored_LeavesTheToken) {
  Row(5, 12, 3);
  Token token = LegalToken(1, 2);

  EXPECT_FALSE(store_.GetBySessionEntry(Session(), EntryOfRow(12), token));
  EXPECT_FALSE(store_.GetBySessionEntry(SessionOfRow(3), Entry(), token));
  EXPECT_EQ(0, token.get_id());
  EXPECT_EQ(1, token.get_entry_id());
  EXPECT_EQ(2, token.get_session_id());
}

TEST_F(TokenDBTest, GetBySessionEntry_Expired_IsFalseWithTheTokenFilled) {
  Row(5, 12, 3, 1);
  Token token;

  EXPECT_FALSE(store_.GetBySessionEntry(SessionOfRow(3), EntryOfRow(12), token));
  EXPECT_EQ(5, token.get_id());
  EXPECT_EQ(1, token.get_timeout());
  EXPECT_THAT(log_.lines(),
              ElementsAre(fakes::Refusal("token", 83, "time(NULL) >= timeout_")));
}

TEST_F(TokenDBTest, GetBySessionEntry_LiveTokenBesideAnExpiredOne_IsFound) {
  Row(5, 12, 3, 1);
  Row(6, 12, 3);
  Token token;

  EXPECT_TRUE(store_.GetBySessionEntry(SessionOfRow(3), EntryOfRow(12), token));
  EXPECT_EQ(6, token.get_id());
}

TEST_F(TokenDBTest, PurgeByEntry_RemovesItsTokensOfEverySession) {
  Row(5, 12, 3);
  Row(6, 12, 4, 1);
  Row(7, 13, 3);
  platform_.ForgetCalls();

  EXPECT_TRUE(store_.PurgeByEntry(EntryOfRow(12)));
  EXPECT_THAT(Statements(), ElementsAre("DELETE FROM token WHERE entry_id = 12"));
  EXPECT_THAT(Ids(), ElementsAre("7"));
}

TEST_F(TokenDBTest, PurgeByEntry_LinkNeverStored_DeletesNothing) {
  Row(5, 12, 3);

  EXPECT_TRUE(store_.PurgeByEntry(Entry()));
  EXPECT_EQ("DELETE FROM token WHERE entry_id = 0", db_.GetLastQuery());
  EXPECT_THAT(Ids(), ElementsAre("5"));
  platform_.FailStatement("DELETE");
  EXPECT_FALSE(store_.PurgeByEntry(EntryOfRow(12)));
}

TEST_F(TokenDBTest, PurgeExpired_DeadlineThisSecond_Survives) {
  Calls left;
  bool legal = true;
  InOneSecond([&](long now) {
    platform_.Sql("DELETE FROM token", kPath);
    Row(5, 12, 3, now - 1);
    Row(6, 12, 4, now);
    Row(7, 12, 5, now + 1);
    store_.PurgeExpired(1.0F);
    left = Ids();
    Token token;
    legal = store_.GetById(6, token);
  });

  EXPECT_THAT(left, ElementsAre("6", "7"));
  EXPECT_FALSE(legal);
}

TEST_F(TokenDBTest, LocaleWithDigitGrouping_WritesPlainDecimals) {
  const fakes::DigitGrouping grouping;
  Token token;
  platform_.ForgetCalls();

  store_.GetBySessionEntry(SessionOfRow(1234567), EntryOfRow(INT_MIN), token);
  store_.PurgeByEntry(EntryOfRow(INT_MAX));
  EXPECT_THAT(Statements(),
              ElementsAre("SELECT * FROM token WHERE session_id = 1234567 AND entry_id = "
                          "-2147483648",
                          "DELETE FROM token WHERE entry_id = 2147483647"));
}

/// Sweeps one operation of the store.  The table has the expired token 5 and the token 6.
template <class Act>
void SweepStore(Act act) {
  SweepFailures([&act](Failure& failure) {
    failure.platform.Sql("INSERT INTO token VALUES (5,11,3,1),(6,12,3,9999999999)",
                         kPath);
    BaseDB db(kPath, 0660);
    TokenDB store(db);
    failure.Arm();

    act(failure, store);
  });
}

std::string Rows(Failure& failure) {
  return failure.platform.Sql("SELECT count(*) FROM token", kPath)[0][0];
}

TEST(TokenDBSweep, GetBySessionEntry_AnyCallFails_LeavesTheToken) {
  SweepStore([](Failure& failure, TokenDB& store) {
    Token token = LegalToken(1, 2);

    const bool found = store.GetBySessionEntry(SessionOfRow(3), EntryOfRow(12), token);
    EXPECT_EQ(IsUnseen(failure), found);
    EXPECT_EQ(found ? 6 : 0, token.get_id());
    EXPECT_EQ(found ? 12 : 1, token.get_entry_id());
  });
}

TEST(TokenDBSweep, PurgeByEntry_AnyCallFails_DeletesNothing) {
  SweepStore([](Failure& failure, TokenDB& store) {
    const bool purged = store.PurgeByEntry(EntryOfRow(12));
    EXPECT_EQ(IsUnseen(failure), purged);
    EXPECT_EQ(purged ? "1" : "2", Rows(failure));
  });
}

}  // namespace
}  // namespace VEXO::sharing::db
