#include <gmock/gmock.h>

#include <ctime>
#include <string>

#include "one_second.h"
#include "sharinglogin.h"
#include "store_test.h"
#include "visitor_test.h"

namespace VEXO {
namespace {

using fakes::InOneSecond;
using sharing::db::UnusualText;
using sharing::record::Entry;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

TEST_F(AuthorizeTest, AllInOrder_Returns1AndSetsBothDeadlinesOneDayAhead) {
  const long before = time(nullptr);

  EXPECT_EQ(1, Authorize());
  const long after = time(nullptr);
  for (const char* table : {"session", "token"}) {
    const long timeout = std::stol(One(std::string("SELECT timeout FROM ") + table));
    EXPECT_LE(before + kDay, timeout);  // it was later before
    EXPECT_GE(after + kDay, timeout);
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AuthorizeTest, AllInOrder_TouchesNothingElse) {
  EXPECT_EQ(1, Authorize());
  EXPECT_EQ((fakes::Rows{{"7", "sid", "4294967295", "192.0.2.7"}}),
            platform_.Sql("SELECT id, session_id, uid, ip FROM session"));
  EXPECT_EQ((fakes::Rows{{"3", "1", "7"}}),
            platform_.Sql("SELECT id, entry_id, session_id FROM token"));
  EXPECT_EQ("0", One("SELECT sum(use_count) FROM entry"));
  EXPECT_THAT(platform_.calls({"VexoCgiIsDeniedIP", "AutoBlockFailLoginSet",
                               "VEXOAutoBlockFailLoginReset", "VexoCgiInit"}),
              IsEmpty());
}

TEST_F(AuthorizeTest, Check_StepsComeInTheirOrder) {
  ASSERT_EQ(1, Authorize());
  EXPECT_THAT(platform_.statements(),
              ElementsAre("SELECT * FROM session WHERE session_id = 'sid'",
                          "SELECT * FROM entry WHERE hash = 'hash'",
                          "SELECT * FROM token WHERE session_id = 7 AND entry_id = 1",
                          StartsWith("UPDATE session SET "),
                          StartsWith("UPDATE token SET "), "PRAGMA wal_checkpoint;",
                          "PRAGMA wal_checkpoint;", "PRAGMA wal_checkpoint;"));
}

TEST_F(AuthorizeTest, BlockedAddress_IsNotChecked) {
  platform_.denied_ips.insert(platform_.remote_ip);

  EXPECT_EQ(1, Authorize());
}

TEST_F(AuthorizeTest, NullParameters_ReturnsMinus4BeforeTheAddressIsRead) {
  EXPECT_EQ(-4, VEXO::VexoSharingIsAuthorized(nullptr));
  params_.session_id = nullptr;
  EXPECT_EQ(-4, Authorize());
  params_ = {nullptr, nullptr, nullptr, nullptr, "sid"};
  EXPECT_EQ(-4, Authorize());
  EXPECT_THAT(platform_.calls({"VexoCgiGetRemoteIP"}), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AuthorizeTest, NoAddress_ReturnsMinus4Logged) {
  platform_.Fail("VexoCgiGetRemoteIP");

  EXPECT_EQ(-4, Authorize());
  EXPECT_THAT(log_.lines(), ElementsAre(MatchesRegex("sharinglogin:[0-9]+ invalid ip")));
  ExpectDeadlinesUnchanged();
}

TEST_F(AuthorizeTest, UnknownSession_ReturnsMinus5) {
  params_.session_id = "unknown";
  EXPECT_EQ(-5, Authorize());
  params_.hash = "unknown";  // the session is looked up first
  EXPECT_EQ(-5, Authorize());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AuthorizeTest, UnknownLink_ReturnsMinus7) {
  params_.hash = "unknown";

  EXPECT_EQ(-7, Authorize());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AuthorizeTest, NoTokenForTheLink_ReturnsMinus7) {
  params_.hash = "other";

  EXPECT_EQ(-7, Authorize());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AuthorizeTest, TokenOfAnotherSession_ReturnsMinus7) {
  AddSession(platform_, 8, "second");
  params_.session_id = "second";

  EXPECT_EQ(-7, Authorize());
}

TEST_F(AuthorizeTest, DisabledLink_ReturnsMinus6) {
  platform_.Sql("UPDATE entry SET enabled=0");

  EXPECT_EQ(-6, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ entry is not valid")));
  ExpectDeadlinesUnchanged();
}

TEST_F(AuthorizeTest, LinkNotLegalAnyMore_ReturnsMinus6) {
  platform_.Sql("UPDATE entry SET data='[]' WHERE id=1");

  EXPECT_EQ(-6, Authorize());
}

TEST_F(AuthorizeTest, LinkAtItsUseLimit_IsStillAuthorizedUntilItIsExceeded) {
  platform_.Sql("UPDATE entry SET expire_times=3, use_count=3");
  EXPECT_EQ(1, Authorize());

  platform_.Sql("UPDATE entry SET use_count=4");
  EXPECT_EQ(-6, Authorize());
}

TEST_F(AuthorizeTest, ExpiredSession_ReturnsMinus1AndKeepsRowAndToken) {
  platform_.Sql("UPDATE session SET timeout=1000");

  EXPECT_EQ(-1, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ session is not valid")));
  EXPECT_EQ("1000", One("SELECT timeout FROM session"));
  EXPECT_EQ("9999999999", One("SELECT timeout FROM token"));
}

TEST_F(AuthorizeTest, ExpiredToken_ReturnsMinus1AndDeletesTheRow) {
  platform_.Sql("UPDATE token SET timeout=1000");

  EXPECT_EQ(-1, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ token is not valid")));
  EXPECT_EQ("0", Count("token"));
  EXPECT_EQ("9999999999", One("SELECT timeout FROM session"));
  EXPECT_EQ(-7, Authorize());
}

TEST_F(AuthorizeTest, ExpiredTokenCannotBeDeleted_ReturnsMinus4) {
  platform_.Sql("UPDATE token SET timeout=1000");
  platform_.FailStatement("DELETE");

  EXPECT_EQ(-4, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ token is not valid"),
                          MatchesRegex("sharinglogin:[0-9]+ delete token failed")));
}

TEST_F(AuthorizeTest, Deadlines_AreStrict) {
  for (const char* table : {"session", "token"}) {
    for (const long distance : {0L, 2L}) {
      int result = 0;
      InOneSecond([&](long now) {
        platform_.Sql("DELETE FROM token");
        AddToken(platform_, 3, 1, 7);
        platform_.Sql("UPDATE session SET timeout=" + std::to_string(kFarAhead));
        platform_.Sql(std::string("UPDATE ") + table +
                      " SET timeout=" + std::to_string(now + distance));
        result = Authorize();
      });
      EXPECT_EQ(distance == 0 ? -1 : 1, result) << table << " now " << distance;
    }
  }
}

TEST_F(AuthorizeTest, SeveralFaults_AreReportedInTheFixedOrder) {
  platform_.Sql("UPDATE session SET timeout=1000, ip='198.51.100.1'");
  platform_.Sql("UPDATE token SET timeout=1000");
  platform_.Sql("UPDATE entry SET enabled=0");

  EXPECT_EQ(-6, Authorize());
  platform_.Sql("UPDATE entry SET enabled=1");
  EXPECT_EQ(-1, Authorize());
  EXPECT_EQ("1", Count("token"));
  platform_.Sql("UPDATE session SET timeout=9999999999");
  EXPECT_EQ(-1, Authorize());
  EXPECT_EQ("0", Count("token"));
}

TEST_F(AuthorizeTest, UserStillListed_Returns1WithoutALogin) {
  Protect(UserEntry({1001}));
  platform_.Sql("UPDATE session SET uid=1001");

  EXPECT_EQ(1, Authorize());
  EXPECT_THAT(platform_.calls({"VEXOUserGetByUID"}),
              ElementsAre("VEXOUserGetByUID(1001)"));
  EXPECT_THAT(platform_.logins, IsEmpty());
  EXPECT_THAT(platform_.calls({"VEXOUserFree", "VexoCgiFree"}),
              ElementsAre("VEXOUserFree(anna)", "VexoCgiFree()"));
}

TEST_F(AuthorizeTest, UserOfAListedGroup_Returns1) {
  Protect(UserEntry({}, {50}));
  platform_.Sql("UPDATE session SET uid=1001");

  EXPECT_EQ(1, Authorize());
}

TEST_F(AuthorizeTest, UserNotListedAnyMore_ReturnsMinus2) {
  Protect(UserEntry({1002}, {60}));
  platform_.Sql("UPDATE session SET uid=1001");

  EXPECT_EQ(-2, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ user login error")));
  ExpectDeadlinesUnchanged();
}

TEST_F(AuthorizeTest, DeletedUser_ReturnsMinus2) {
  Protect(UserEntry({1001}));
  platform_.Sql("UPDATE session SET uid=1001");
  platform_.users.clear();

  EXPECT_EQ(-2, Authorize());
}

TEST_F(AuthorizeTest, SessionOfNoUser_ReturnsMinus2) {
  Protect(UserEntry({1001}));

  EXPECT_EQ(-2, Authorize());
}

TEST_F(AuthorizeTest, UserLookupSucceedsWithoutARecord_ReturnsMinus2) {
  Protect(UserEntry({1001}));
  platform_.Sql("UPDATE session SET uid=1003");
  platform_.uid_results[1003] = 0;

  EXPECT_EQ(-2, Authorize());
}

TEST_F(AuthorizeTest, UserNameGiven_LogsInTheUserAgain) {
  Protect(UserEntry({1001}));
  platform_.Sql("UPDATE session SET uid=1002");
  params_.username = "anna";
  params_.user_password = "anna's";

  EXPECT_EQ(1, Authorize());
  EXPECT_THAT(platform_.logins, SizeIs(1));
  EXPECT_EQ("1002", One("SELECT uid FROM session"));
  params_.user_password = "wrong";
  EXPECT_EQ(-2, Authorize());
  EXPECT_EQ(0, Recorded());
}

TEST_F(AuthorizeTest, UserNameGivenForAnOpenLink_IsIgnored) {
  params_.username = "anna";
  params_.user_password = "wrong";

  EXPECT_EQ(1, Authorize());
  EXPECT_THAT(platform_.logins, IsEmpty());
}

TEST_F(AuthorizeTest, PasswordLink_NeedsNoPasswordAgain) {
  Protect(PasswordEntry());

  EXPECT_EQ(1, Authorize());
}

TEST_F(AuthorizeTest, OtherAddress_BoundLink_ReturnsMinus8AndLogsTheSessionsFirst) {
  platform_.remote_ip = "198.51.100.1";

  EXPECT_EQ(-8, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ ip not match, "
                                       "192\\.0\\.2\\.7, 198\\.51\\.100\\.1")));
  ExpectDeadlinesUnchanged();
}

TEST_F(AuthorizeTest, OtherAddress_UnboundLink_Returns1AndKeepsTheSessionsAddress) {
  Entry entry = OpenEntry();
  entry.set_enable_match_ip(false);
  Protect(entry);
  platform_.remote_ip = "198.51.100.1";

  EXPECT_EQ(1, Authorize());
  EXPECT_EQ("192.0.2.7", One("SELECT ip FROM session"));
}

TEST_F(AuthorizeTest, UserCheck_ComesBeforeTheAddress) {
  Protect(UserEntry({1002}));
  platform_.remote_ip = "198.51.100.1";

  EXPECT_EQ(-2, Authorize());
}

TEST_F(AuthorizeTest, SessionCannotBeUpdated_ReturnsMinus4AndLeavesTheToken) {
  platform_.FailStatement("UPDATE session");

  EXPECT_EQ(-4, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ update session failed")));
  ExpectDeadlinesUnchanged();
}

TEST_F(AuthorizeTest, TokenCannotBeUpdated_ReturnsMinus4) {
  platform_.FailStatement("UPDATE token");

  EXPECT_EQ(-4, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ update token failed")));
  EXPECT_EQ("9999999999", One("SELECT timeout FROM token"));
  EXPECT_NE("9999999999", One("SELECT timeout FROM session"));
}

TEST_F(AuthorizeTest, UnusualTexts_AreHandled) {
  const std::string rough = UnusualText();
  params_ = {rough.c_str(), rough.c_str(), rough.c_str(), rough.c_str(), rough.c_str()};

  EXPECT_EQ(-5, Authorize());
  params_.session_id = "sid";
  EXPECT_EQ(-7, Authorize());
}

TEST_F(AuthorizeTest, PlainFunction_ReturnsTheSame) {
  EXPECT_EQ(1, ::VexoSharingIsAuthorized(&params_));
  EXPECT_EQ(-4, ::VexoSharingIsAuthorized(nullptr));
  params_.session_id = "unknown";
  EXPECT_EQ(-5, ::VexoSharingIsAuthorized(&params_));
}

}  // namespace
}  // namespace VEXO
