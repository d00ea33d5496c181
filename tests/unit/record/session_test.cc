#include "session.h"

#include <gmock/gmock.h>
#include <json/value.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <limits>
#include <string>

#include "digit_grouping.h"
#include "fake_platform.h"
#include "internal/session_private.h"
#include "legal_records.h"
#include "log_capture.h"
#include "log_matchers.h"
#include "one_second.h"
#include "stored_row.h"

namespace VEXO::sharing::record {
namespace {

using fakes::InOneSecond;
using fakes::LegalSession;
using fakes::Refusal;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class SessionTest : public testing::Test {
 protected:
  fakes::Platform platform_;
  fakes::LogCapture log_;
};

TEST_F(SessionTest, New_HasTheDefaults) {
  const Session session;

  EXPECT_EQ(0, session.get_id());
  EXPECT_EQ("", session.get_session_id());
  EXPECT_EQ(UID_ERR, session.get_uid());
  EXPECT_EQ("", session.get_ip());
  EXPECT_EQ(0, session.get_timeout());
}

TEST_F(SessionTest, Setters_TakeAnyValue) {
  Session session;
  const std::string bytes("it's\0\xff", 6);

  session.set_id(-1);
  session.set_session_id(bytes);
  session.set_uid(0);
  session.set_ip(std::string(1 << 20, 'x'));
  session.set_timeout(std::numeric_limits<long>::min());
  EXPECT_EQ(-1, session.get_id());
  EXPECT_EQ(bytes, session.get_session_id());
  EXPECT_EQ(0u, session.get_uid());
  EXPECT_EQ(1u << 20, session.get_ip().size());
  EXPECT_EQ(std::numeric_limits<long>::min(), session.get_timeout());
}

// IsLegal

TEST_F(SessionTest, IsLegal_IdAddressAndDeadlineAhead_IsLegal) {
  EXPECT_TRUE(LegalSession().IsLegal());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SessionTest, IsLegal_New_IsRefusedForItsSessionId) {
  EXPECT_FALSE(Session().IsLegal());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("session", 87, "\"\" == session_id_")));
}

TEST_F(SessionTest, IsLegal_NoAddress_IsRefusedBeforeTheDeadlineIsChecked) {
  Session session = LegalSession();
  session.set_ip("");
  session.set_timeout(0);

  EXPECT_FALSE(session.IsLegal());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("session", 88, "\"\" == ip_")));
}

TEST_F(SessionTest, IsLegal_DeadlineIsNow_IsRefused) {
  Session session = LegalSession();
  bool legal = true;

  InOneSecond([&](long now) {
    session.set_timeout(now);
    legal = session.IsLegal();
  });
  EXPECT_FALSE(legal);
  EXPECT_THAT(log_.lines(),
              testing::Each(Refusal("session", 89, "time(NULL) >= timeout_")));
  EXPECT_FALSE(log_.lines().empty());
}

TEST_F(SessionTest, IsLegal_DeadlineIsNextSecond_IsLegal) {
  Session session = LegalSession();
  bool legal = false;

  InOneSecond([&](long now) {
    session.set_timeout(now + 1);
    legal = session.IsLegal();
  });
  EXPECT_TRUE(legal);
}

TEST_F(SessionTest, IsLegal_NegativeDeadline_IsRefused) {
  Session session = LegalSession();
  session.set_timeout(std::numeric_limits<long>::min());

  EXPECT_FALSE(session.IsLegal());
}

TEST_F(SessionTest, IsLegal_NoUser_IsLegal) {
  Session session = LegalSession();
  session.set_uid(UID_ERR);

  EXPECT_TRUE(session.IsLegal());
}

TEST_F(SessionTest, IsLegal_Refusal_LogsTheCurrentErrno) {
  errno = ENOENT;

  EXPECT_FALSE(Session().IsLegal());
  EXPECT_THAT(log_.lines(),
              ElementsAre("session:87 (" + std::to_string(getpid()) +
                          ") Failed [\"\" == session_id_], err=No such file or "
                          "directory\n\n"));
  EXPECT_THAT(log_.priorities(), ElementsAre(3));
}

// Columns

TEST_F(SessionTest, GetFieldList_OnlySessionIdSet_HasTheDefaultsAsText) {
  Session session;
  session.set_session_id("abc");

  EXPECT_THAT(session.GetFieldList(), ElementsAre("abc", "4294967295", "", "0"));
}

TEST_F(SessionTest, GetFieldMap_IsTheListByColumnName) {
  Session session;
  session.set_session_id("it's");
  session.set_uid(1026);
  session.set_ip("::1");
  session.set_timeout(-5);

  EXPECT_THAT(session.GetFieldList(), ElementsAre("it's", "1026", "::1", "-5"));
  EXPECT_THAT(session.GetFieldMap(),
              ElementsAre(Pair("ip", "::1"), Pair("session_id", "it's"),
                          Pair("timeout", "-5"), Pair("uid", "1026")));
}

TEST_F(SessionTest, GetFieldMap_CallsTheVirtualGetFieldList) {
  class Other : public SessionPrivate {
    std::vector<std::string> GetFieldList() const override {
      return {"a", "b", "c", "d"};
    }
  };

  EXPECT_THAT(Other().GetFieldMap(), ElementsAre(Pair("ip", "c"), Pair("session_id", "a"),
                                                 Pair("timeout", "d"), Pair("uid", "b")));
}

TEST_F(SessionTest, GroupingLocale_NumbersStayPlain) {
  const fakes::DigitGrouping grouping;
  Session session;
  session.set_uid(1234567);
  session.set_timeout(1700000000);
  const StoredRow stored(platform_, {{"id", "1234567"},
                                     {"session_id", "a"},
                                     {"uid", "1234567"},
                                     {"ip", "b"},
                                     {"timeout", "9999999999"}});
  Session again;

  EXPECT_THAT(session.GetFieldList(), ElementsAre("", "1234567", "", "1700000000"));
  EXPECT_TRUE(again.FromRow(stored.row()));
  EXPECT_EQ(1234567, again.get_id());
  EXPECT_EQ(1234567u, again.get_uid());
  EXPECT_EQ(9999999999, again.get_timeout());
}

// JSON

TEST_F(SessionTest, ToJSON_SetsItsMembersAndLeavesTheOthers) {
  Session session = LegalSession();
  session.set_id(3);
  session.set_uid(1026);
  session.set_timeout(1700000000);
  Json::Value out;
  out["other"] = "kept";
  out["uid"] = "replaced";

  session.ToJSON(out);

  EXPECT_THAT(out.getMemberNames(),
              ElementsAre("ip", "other", "session_id", "timeout", "uid"));
  EXPECT_EQ("kept", out["other"].asString());
  EXPECT_EQ("sid", out["session_id"].asString());
  EXPECT_EQ(Json::uintValue, out["uid"].type());
  EXPECT_EQ(1026u, out["uid"].asUInt());
  EXPECT_EQ("192.0.2.7", out["ip"].asString());
  EXPECT_EQ(Json::intValue, out["timeout"].type());
  EXPECT_EQ(1700000000, out["timeout"].asInt64());
}

TEST_F(SessionTest, ToJSON_NoUser_IsTheUnsignedNumber) {
  Json::Value out;

  Session().ToJSON(out);

  EXPECT_EQ(4294967295U, out["uid"].asUInt());
}

// Rows

TEST_F(SessionTest, FromRow_LiveSession_FillsAllAndIsTrue) {
  const StoredRow stored(platform_, {{"id", "12"},
                                     {"session_id", "abc"},
                                     {"uid", "4294967294"},
                                     {"ip", "::1"},
                                     {"timeout", "9223372036854775807"}});
  Session session;

  EXPECT_TRUE(session.FromRow(stored.row()));
  EXPECT_EQ(12, session.get_id());
  EXPECT_EQ("abc", session.get_session_id());
  EXPECT_EQ(4294967294U, session.get_uid());
  EXPECT_EQ("::1", session.get_ip());
  EXPECT_EQ(std::numeric_limits<long>::max(), session.get_timeout());
}

TEST_F(SessionTest, FromRow_ExpiredSession_FillsAllAndIsFalse) {
  const StoredRow stored(platform_, {{"id", "12"},
                                     {"session_id", "abc"},
                                     {"uid", "7"},
                                     {"ip", "::1"},
                                     {"timeout", "1000"}});
  Session session;

  EXPECT_FALSE(session.FromRow(stored.row()));
  EXPECT_EQ(12, session.get_id());
  EXPECT_EQ("abc", session.get_session_id());
  EXPECT_EQ(7u, session.get_uid());
  EXPECT_EQ("::1", session.get_ip());
  EXPECT_EQ(1000, session.get_timeout());
  EXPECT_THAT(log_.lines(),
              ElementsAre(Refusal("session", 89, "time(NULL) >= timeout_")));
}

TEST_F(SessionTest, FromRow_MissingColumns_GiveTheDefaults) {
  const StoredRow stored(platform_, {{"other", "x"}});
  Session session = LegalSession();
  session.set_id(5);
  session.set_uid(5);

  EXPECT_FALSE(session.FromRow(stored.row()));
  EXPECT_EQ(0, session.get_id());
  EXPECT_EQ("", session.get_session_id());
  EXPECT_EQ(UID_ERR, session.get_uid());
  EXPECT_EQ("", session.get_ip());
  EXPECT_EQ(0, session.get_timeout());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("session", 87, "\"\" == session_id_")));
}

TEST_F(SessionTest, FromRow_UnreadableNumbers_GiveTheDefaults) {
  const StoredRow stored(platform_, {{"id", "x"},
                                     {"session_id", "abc"},
                                     {"uid", ""},
                                     {"ip", "::1"},
                                     {"timeout", "99999999999999999999"}});
  Session session;

  EXPECT_FALSE(session.FromRow(stored.row()));
  EXPECT_EQ(0, session.get_id());
  EXPECT_EQ(UID_ERR, session.get_uid());
  EXPECT_EQ(0, session.get_timeout());
}

TEST_F(SessionTest, FromRow_CallsTheVirtualIsLegal) {
  class Other : public SessionPrivate {
    bool IsLegal() const override { return true; }
  };
  const StoredRow stored(platform_, {{"id", "12"}});

  EXPECT_TRUE(Other().FromRow(stored.row()));
}

}  // namespace
}  // namespace VEXO::sharing::record
