#include "token.h"

#include <gmock/gmock.h>
#include <json/value.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <limits>
#include <string>

#include "digit_grouping.h"
#include "fake_platform.h"
#include "internal/token_private.h"
#include "legal_records.h"
#include "log_capture.h"
#include "log_matchers.h"
#include "one_second.h"
#include "stored_row.h"

namespace VEXO::sharing::record {
namespace {

using fakes::InOneSecond;
using fakes::LegalToken;
using fakes::Refusal;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class TokenTest : public testing::Test {
 protected:
  fakes::Platform platform_;
  fakes::LogCapture log_;
};

TEST_F(TokenTest, New_IsAllZero) {
  const Token token;

  EXPECT_EQ(0, token.get_id());
  EXPECT_EQ(0, token.get_entry_id());
  EXPECT_EQ(0, token.get_session_id());
  EXPECT_EQ(0, token.get_timeout());
}

TEST_F(TokenTest, Setters_TakeAnyValue) {
  Token token;

  token.set_id(-1);
  token.set_entry_id(std::numeric_limits<int>::min());
  token.set_session_id(std::numeric_limits<int>::max());
  token.set_timeout(std::numeric_limits<long>::min());
  EXPECT_EQ(-1, token.get_id());
  EXPECT_EQ(std::numeric_limits<int>::min(), token.get_entry_id());
  EXPECT_EQ(std::numeric_limits<int>::max(), token.get_session_id());
  EXPECT_EQ(std::numeric_limits<long>::min(), token.get_timeout());
}

// IsLegal

TEST_F(TokenTest, IsLegal_IdsAndDeadlineAhead_IsLegal) {
  EXPECT_TRUE(LegalToken().IsLegal());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(TokenTest, IsLegal_New_IsRefusedForItsEntry) {
  EXPECT_FALSE(Token().IsLegal());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("token", 81, "0 == entry_id_")));
}

TEST_F(TokenTest, IsLegal_NoSession_IsRefusedBeforeTheDeadlineIsChecked) {
  Token token = LegalToken();
  token.set_session_id(0);
  token.set_timeout(0);

  EXPECT_FALSE(token.IsLegal());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("token", 82, "0 == session_id_")));
}

TEST_F(TokenTest, IsLegal_DeadlineIsNow_IsRefused) {
  Token token = LegalToken();
  bool legal = true;

  InOneSecond([&](long now) {
    token.set_timeout(now);
    legal = token.IsLegal();
  });
  EXPECT_FALSE(legal);
  EXPECT_THAT(log_.lines(),
              testing::Each(Refusal("token", 83, "time(NULL) >= timeout_")));
  EXPECT_FALSE(log_.lines().empty());
}

TEST_F(TokenTest, IsLegal_DeadlineIsNextSecond_IsLegal) {
  Token token = LegalToken();
  bool legal = false;

  InOneSecond([&](long now) {
    token.set_timeout(now + 1);
    legal = token.IsLegal();
  });
  EXPECT_TRUE(legal);
}

TEST_F(TokenTest, IsLegal_NegativeIds_AreLegal) {
  Token token = LegalToken();
  token.set_entry_id(-1);
  token.set_session_id(-1);

  EXPECT_TRUE(token.IsLegal());
}

TEST_F(TokenTest, IsLegal_Refusal_LogsTheCurrentErrno) {
  errno = EACCES;

  EXPECT_FALSE(Token().IsLegal());
  EXPECT_THAT(log_.lines(),
              ElementsAre("token:81 (" + std::to_string(getpid()) +
                          ") Failed [0 == entry_id_], err=Permission denied\n\n"));
  EXPECT_THAT(log_.priorities(), ElementsAre(3));
}

// Columns

TEST_F(TokenTest, GetFieldMap_IsTheListByColumnName) {
  Token token;
  token.set_id(9);
  token.set_entry_id(5);
  token.set_session_id(7);
  token.set_timeout(1700000000);

  EXPECT_THAT(token.GetFieldList(), ElementsAre("5", "7", "1700000000"));
  EXPECT_THAT(token.GetFieldMap(),
              ElementsAre(Pair("entry_id", "5"), Pair("session_id", "7"),
                          Pair("timeout", "1700000000")));
}

TEST_F(TokenTest, GetFieldMap_CallsTheVirtualGetFieldList) {
  class Other : public TokenPrivate {
    std::vector<std::string> GetFieldList() const override { return {"a", "b", "c"}; }
  };

  EXPECT_THAT(
      Other().GetFieldMap(),
      ElementsAre(Pair("entry_id", "a"), Pair("session_id", "b"), Pair("timeout", "c")));
}

TEST_F(TokenTest, GroupingLocale_NumbersStayPlain) {
  const fakes::DigitGrouping grouping;
  Token token;
  token.set_entry_id(1234567);
  token.set_session_id(-1234567);
  token.set_timeout(1700000000);

  EXPECT_THAT(token.GetFieldList(), ElementsAre("1234567", "-1234567", "1700000000"));
}

// JSON

TEST_F(TokenTest, ToJSON_SetsItsMembersAndLeavesTheOthers) {
  Token token = LegalToken();
  token.set_id(3);
  token.set_timeout(1700000000);
  Json::Value out;
  out["other"] = "kept";
  out["timeout"] = "replaced";

  token.ToJSON(out);

  EXPECT_THAT(out.getMemberNames(),
              ElementsAre("entry_id", "other", "session_id", "timeout"));
  EXPECT_EQ("kept", out["other"].asString());
  EXPECT_EQ(Json::intValue, out["entry_id"].type());
  EXPECT_EQ(12, out["entry_id"].asInt());
  EXPECT_EQ(Json::intValue, out["session_id"].type());
  EXPECT_EQ(3, out["session_id"].asInt());
  EXPECT_EQ(Json::intValue, out["timeout"].type());
  EXPECT_EQ(1700000000, out["timeout"].asInt64());
}

// Rows

TEST_F(TokenTest, FromRow_LiveToken_FillsAllAndIsTrue) {
  const StoredRow stored(platform_, {{"id", "12"},
                                     {"entry_id", "2147483647"},
                                     {"session_id", "-7"},
                                     {"timeout", "9223372036854775807"}});
  Token token;

  EXPECT_TRUE(token.FromRow(stored.row()));
  EXPECT_EQ(12, token.get_id());
  EXPECT_EQ(2147483647, token.get_entry_id());
  EXPECT_EQ(-7, token.get_session_id());
  EXPECT_EQ(std::numeric_limits<long>::max(), token.get_timeout());
}

TEST_F(TokenTest, FromRow_ExpiredToken_FillsAllAndIsFalse) {
  const StoredRow stored(
      platform_,
      {{"id", "12"}, {"entry_id", "5"}, {"session_id", "7"}, {"timeout", "1000"}});
  Token token;

  EXPECT_FALSE(token.FromRow(stored.row()));
  EXPECT_EQ(12, token.get_id());
  EXPECT_EQ(5, token.get_entry_id());
  EXPECT_EQ(7, token.get_session_id());
  EXPECT_EQ(1000, token.get_timeout());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("token", 83, "time(NULL) >= timeout_")));
}

TEST_F(TokenTest, FromRow_MissingColumns_AreZero) {
  const StoredRow stored(platform_, {{"other", "x"}});
  Token token = LegalToken();
  token.set_id(5);

  EXPECT_FALSE(token.FromRow(stored.row()));
  EXPECT_EQ(0, token.get_id());
  EXPECT_EQ(0, token.get_entry_id());
  EXPECT_EQ(0, token.get_session_id());
  EXPECT_EQ(0, token.get_timeout());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("token", 81, "0 == entry_id_")));
}

TEST_F(TokenTest, FromRow_UnreadableNumbers_AreZero) {
  const StoredRow stored(
      platform_,
      {{"id", ""}, {"entry_id", "x"}, {"session_id", "2147483648"}, {"timeout", "-"}});
  Token token;

  EXPECT_FALSE(token.FromRow(stored.row()));
  EXPECT_EQ(0, token.get_entry_id());
  EXPECT_EQ(0, token.get_session_id());
  EXPECT_EQ(0, token.get_timeout());
}

TEST_F(TokenTest, FromRow_CallsTheVirtualIsLegal) {
  class Other : public TokenPrivate {
    bool IsLegal() const override { return true; }
  };
  const StoredRow stored(platform_, {{"id", "12"}});

  EXPECT_TRUE(Other().FromRow(stored.row()));
}

}  // namespace
}  // namespace VEXO::sharing::record
