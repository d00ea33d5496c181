// Whom a request admits.  login_decision_test.cc has the logins.

#include "decision_test.h"

#include <json/reader.h>

#include <ctime>
#include <regex>
#include <sstream>

namespace VEXO::sharing {
namespace {

using record::Entry;
using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;
using testing::Not;

const char kDeletedCookie[] =
    "sharing=; Path=/sharing/hash; HttpOnly; SameSite=Lax; Max-Age=0";

Entry WithApp(Entry entry, const std::string& app) {
  Json::Value value;
  std::istringstream(app) >> value;
  entry.set_app(value);
  return entry;
}

Entry Announced(const Entry& entry) { return WithApp(entry, R"({"announce":true})"); }

TEST_F(DecisionTest, OtherMethods_AreRefusedBeforeTheLinkIsLookedUp) {
  for (const char* method : {"", "get", "PUT", "DELETE", "OPTIONS", "TRACE"}) {
    EXPECT_EQ(SHARING_VISIT_BAD_METHOD, Ask(method).outcome) << method;
  }
  EXPECT_THAT(platform_.calls(), IsEmpty());
}

TEST_F(DecisionTest, PostOfAnotherSite_IsRefusedBeforeTheLinkIsLookedUp) {
  StoreVisitedLink(LimitedEntry(3));
  platform_.ForgetCalls();
  request_.fetch_site = "cross-site";

  for (const char* action : {"", "login", "logout", "other"}) {
    const VisitAnswer answer = Post(action);
    EXPECT_EQ(SHARING_VISIT_REFUSED, answer.outcome);
    EXPECT_EQ(SHARING_VISIT_CROSS_SITE, answer.problem);
    EXPECT_EQ("", answer.set_cookie);
  }
  EXPECT_THAT(platform_.calls(), IsEmpty());
  EXPECT_EQ(SHARING_VISIT_CONTENT, Get().outcome);
}

TEST_F(DecisionTest, RequestWithoutAddress_IsAFailure) {
  StoreLink(OpenEntry());
  platform_.Fail("VexoCgiGetRemoteIP");

  const VisitAnswer answer = Get();

  EXPECT_EQ(SHARING_VISIT_TRY_LATER, answer.outcome);
  EXPECT_GT(answer.retry_after, 0);
  EXPECT_THAT(log_.lines(), ElementsAre("visit: the request has no address"));
}

TEST_F(DecisionTest, OpenLink_IsServedAndNothingIsWritten) {
  StoreLink(OpenEntry());

  for (const char* method : {"GET", "HEAD"}) {
    const VisitAnswer answer = Ask(method);
    EXPECT_EQ(SHARING_VISIT_CONTENT, answer.outcome);
    EXPECT_EQ("hash", answer.link.get_hash());
    EXPECT_FALSE(answer.has_session);
    EXPECT_EQ("", answer.set_cookie);
    EXPECT_EQ(0, answer.result);
  }
  EXPECT_THAT(platform_.statements(),
              Each(AnyOf(HasSubstr("SELECT"), HasSubstr("PRAGMA wal_checkpoint"))));
  ExpectNothingDone();
}

TEST_F(DecisionTest, OpenLink_LoginAndLogoutNeedNoSession) {
  StoreLink(OpenEntry());

  const VisitAnswer login = Post("login");
  EXPECT_EQ(SHARING_VISIT_LOGGED_IN, login.outcome);
  EXPECT_EQ("", login.set_cookie);
  const VisitAnswer logout = Post("logout");
  EXPECT_EQ(SHARING_VISIT_LOGGED_OUT, logout.outcome);
  EXPECT_EQ(kDeletedCookie, logout.set_cookie);
  ExpectNothingDone();
}

TEST_F(DecisionTest, LinkThatNeedsALogin_ShowsItsFormAndCountsNothing) {
  const struct {
    Entry entry;
    VexoSharingVisitOutcome outcome;
  } cases[] = {{PasswordEntry(), SHARING_VISIT_LOGIN},
               {UserEntry({1001}), SHARING_VISIT_LOGIN},
               {LimitedEntry(3), SHARING_VISIT_OPEN}};

  for (const auto& [entry, outcome] : cases) {
    platform_.Sql("DELETE FROM entry");
    StoreLink(entry);
    for (const char* method : {"GET", "HEAD"}) {
      const VisitAnswer answer = Ask(method);
      EXPECT_EQ(outcome, answer.outcome);
      EXPECT_EQ(SHARING_VISIT_NO_PROBLEM, answer.problem);
      EXPECT_EQ(entry.get_protect_type(), answer.link.get_protect_type());
    }
    EXPECT_EQ(outcome, Post("unknown action").outcome);
    EXPECT_EQ(0, Recorded());
    ExpectNothingDone();
  }
}

TEST_F(DecisionTest, LinkAtItsUseLimit_IsUsedUpForThoseOutside) {
  StoreVisitedLink(LimitedEntry(3, 3));

  EXPECT_EQ(SHARING_VISIT_CONTENT, Get().outcome);
  request_.session_id = "";
  EXPECT_EQ(SHARING_VISIT_USED_UP, Get().outcome);
  EXPECT_EQ(SHARING_VISIT_USED_UP, Post().outcome);
  EXPECT_EQ(0, Recorded());
  platform_.Sql("UPDATE entry SET use_count = 4");
  EXPECT_EQ(SHARING_VISIT_USED_UP, Get().outcome);
}

/// The links that a stranger must not tell from an absent one, as changes to a link that
/// can be used.
const char* const kMissing[] = {
    "DELETE FROM entry",
    "UPDATE entry SET project_name = 'other'",
    "UPDATE entry SET enabled = 0",
    "UPDATE entry SET start_at = 9999999999",
    "UPDATE entry SET expire_at = 1",
    "UPDATE entry SET expire_times = 3, use_count = 3, enabled = 0",
};

TEST_F(DecisionTest, MissingLinks_CannotBeToldApart) {
  std::vector<std::string> first;
  for (const char* change : kMissing) {
    for (const char* method : {"GET", "POST"}) {
      platform_.Sql("DELETE FROM entry");
      StoreLink(PasswordEntry());
      platform_.Sql(change);
      fakes::SqlValue(folder_.Path("visit.db"), "DELETE FROM attempt");
      platform_.failed_logins.clear();
      platform_.ForgetCalls();

      const VisitAnswer answer = Ask(method);

      EXPECT_EQ(SHARING_VISIT_MISSING, answer.outcome) << change;
      EXPECT_EQ(0, answer.link.get_id()) << change;
      EXPECT_EQ("", answer.set_cookie) << change;
      EXPECT_EQ(1, Recorded()) << change;
      std::vector<std::string> calls = platform_.calls(
          {"VEXODBExecute", "VEXODBConnect", "VexoCgiGetRemoteIP", "VexoCgiIsDeniedIP",
           "VEXOAutoBlockList", "AutoBlockFailLoginSet", "VexoCgiInit"});
      for (std::string& call : calls) {
        call = std::regex_replace(call, std::regex("[0-9]{10,}"), "NOW");
      }
      if (first.empty()) first = calls;
      EXPECT_EQ(first, calls) << change;
    }
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(DecisionTest, AnnouncedLink_IsEarlyUntilItsStartAndCountsNothing) {
  for (const Entry& entry : {OpenEntry(), PasswordEntry(), LimitedEntry(3)}) {
    platform_.Sql("DELETE FROM entry");
    StoreLink(Announced(entry));
    const long start = time(nullptr) + 100;
    platform_.Sql("UPDATE entry SET start_at = " + std::to_string(start) +
                  ", expire_at = " + std::to_string(start));
    request_.password = "wrong";
    for (const char* method : {"GET", "POST"}) {
      const VisitAnswer answer = Ask(method);
      EXPECT_EQ(SHARING_VISIT_EARLY, answer.outcome);
      EXPECT_EQ(start, answer.link.get_start_at());
      EXPECT_THAT(answer.retry_after, AllOf(Ge(90), Le(100)));
      EXPECT_EQ("", answer.set_cookie);
    }
    EXPECT_EQ(0, Recorded());
    ExpectNothingDone();
    platform_.Sql("UPDATE entry SET start_at = 1, expire_at = 0");
    EXPECT_NE(SHARING_VISIT_EARLY, Get().outcome);
  }
}

TEST_F(DecisionTest, AnnouncedLinkThatWillNotOpen_IsMissing) {
  for (const char* const change :
       {"enabled = 0", "expire_at = 1", "expire_at = 9999999998",
        "expire_times = 3, use_count = 3", "project_name = 'other'"}) {
    platform_.Sql("DELETE FROM entry");
    StoreLink(Announced(OpenEntry()));
    platform_.Sql("UPDATE entry SET start_at = 9999999999, " + std::string(change));
    const VisitAnswer answer = Get();
    EXPECT_EQ(SHARING_VISIT_MISSING, answer.outcome) << change;
    EXPECT_EQ(0, answer.link.get_id()) << change;
    EXPECT_EQ(0, answer.retry_after) << change;
  }
}

TEST_F(DecisionTest, LinkThatIsNotAnnounced_IsMissingBeforeItsStart) {
  for (const char* const app :
       {"{}", R"({"announce":false})", R"({"announce":"true"})", R"({"announce":1})"}) {
    platform_.Sql("DELETE FROM entry");
    StoreLink(WithApp(OpenEntry(), app));
    platform_.Sql("UPDATE entry SET start_at = 9999999999");
    EXPECT_EQ(SHARING_VISIT_MISSING, Get().outcome) << app;
  }
}

TEST_F(DecisionTest, BlockedAddress_LearnsNothingOfAnAnnouncedLink) {
  StoreLink(Announced(OpenEntry()));
  platform_.Sql("UPDATE entry SET start_at = 9999999999");
  BlockAddress();

  EXPECT_EQ(SHARING_VISIT_BLOCKED, Get().outcome);
}

TEST_F(DecisionTest, MissingLinks_TheirDataIsNotRead) {
  for (const char* change : kMissing) {
    platform_.Sql("DELETE FROM entry");
    StoreLink(PasswordEntry());
    platform_.Sql(change);
    platform_.ForgetCalls();

    EXPECT_EQ(SHARING_VISIT_MISSING, Get().outcome) << change;
    EXPECT_THAT(platform_.statements(), Each(Not(HasSubstr("SELECT * FROM entry"))))
        << change;
  }
}

TEST_F(DecisionTest, DamagedLink_IsMissing) {
  StoreLink(PasswordEntry());
  platform_.Sql("UPDATE entry SET data = '{'");

  EXPECT_EQ(SHARING_VISIT_MISSING, Get().outcome);
  EXPECT_EQ(1, Recorded());
}

TEST_F(DecisionTest, HashThatGoesOnAfterANul_IsMissing) {
  StoreLink(OpenEntry());
  request_.hash = std::string("hash\0x", 6);

  EXPECT_EQ(SHARING_VISIT_MISSING, Get().outcome);
}

TEST_F(DecisionTest, SecondBeforeAndAfterTheDeadlines_FollowTheLogin) {
  StoreLink(OpenEntry());
  const long now = time(nullptr);

  platform_.Sql("UPDATE entry SET start_at = " + std::to_string(now - 1) +
                ", expire_at = " + std::to_string(now + 100));
  EXPECT_EQ(SHARING_VISIT_CONTENT, Get().outcome);
  platform_.Sql("UPDATE entry SET expire_at = " + std::to_string(now - 1));
  EXPECT_EQ(SHARING_VISIT_MISSING, Get().outcome);
}

TEST_F(DecisionTest, SameMissingLink_CountsOncePerAddress) {
  for (int i = 0; i < 10; ++i) EXPECT_EQ(SHARING_VISIT_MISSING, Get().outcome);
  EXPECT_EQ(1, Recorded());
  request_.hash = "another";
  Get();
  EXPECT_EQ(2, Recorded());
  platform_.remote_ip = "192.0.2.8";
  Get();
  EXPECT_EQ(1, Recorded());
}

TEST_F(DecisionTest, SameMissingLink_CountsOncePerNetworkOfIPv6) {
  platform_.remote_ip = "2001:db8:1:2::1";
  Get();
  platform_.remote_ip = "2001:db8:1:2::2";
  Get();

  EXPECT_EQ(0, Recorded());
  platform_.remote_ip = "2001:db8:1:3::1";
  Get();
  EXPECT_EQ(1, Recorded());
}

TEST_F(DecisionTest, MissingLinkThatCannotBeCounted_IsNoFreeGuess) {
  platform_.Fail("AutoBlockFailLoginSet");

  EXPECT_EQ(SHARING_VISIT_TRY_LATER, Get().outcome);
  EXPECT_EQ(SHARING_VISIT_TRY_LATER, Get().outcome);
}

TEST_F(DecisionTest, MissingLinkThatCannotBeRemembered_CountsEveryTime) {
  request_.method = "GET";
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(SHARING_VISIT_MISSING, Decide(request_, folder_.Path("missing")).outcome);
  }
  EXPECT_EQ(2, Recorded());
}

TEST_F(DecisionTest, BlockedAddress_IsRefusedForEveryLink) {
  BlockAddress();
  for (const Entry& entry : {OpenEntry(), PasswordEntry(), LimitedEntry(3)}) {
    platform_.Sql("DELETE FROM entry");
    EXPECT_EQ(SHARING_VISIT_BLOCKED, Get().outcome);
    StoreLink(entry);
    const VisitAnswer answer = Get();
    EXPECT_EQ(SHARING_VISIT_BLOCKED, answer.outcome);
    EXPECT_THAT(answer.retry_after, AllOf(Ge(990), Le(1000)));
    EXPECT_EQ(0, answer.link.get_id());
    EXPECT_EQ(SHARING_VISIT_BLOCKED, LogIn("secret").outcome);
  }
  EXPECT_EQ(0, Recorded());
  ExpectNothingDone();
}

TEST_F(DecisionTest, BlockedAddress_VisitorInsideStays) {
  StoreVisitedLink(PasswordEntry());
  BlockAddress();

  EXPECT_EQ(SHARING_VISIT_CONTENT, Get().outcome);
}

TEST_F(DecisionTest, AddressRefusedSinceFailuresCannotBeCounted_OpenLinksGoOn) {
  platform_.denied_ips = {platform_.remote_ip};
  platform_.Fail("AutoBlockFailLoginSet");
  EXPECT_EQ(SHARING_VISIT_TRY_LATER, Get().outcome);
  StoreLink(OpenEntry());
  EXPECT_EQ(SHARING_VISIT_CONTENT, Get().outcome);
  platform_.Sql("DELETE FROM entry");
  StoreLink(PasswordEntry());

  EXPECT_EQ(SHARING_VISIT_LOGIN, Get().outcome);
  EXPECT_EQ(SHARING_VISIT_TRY_LATER, LogIn("secret").outcome);
}

TEST_F(DecisionTest, VisitorInside_GetsTheContent) {
  StoreVisitedLink(PasswordEntry());

  const VisitAnswer answer = Get();

  EXPECT_EQ(SHARING_VISIT_CONTENT, answer.outcome);
  EXPECT_TRUE(answer.has_session);
  EXPECT_EQ("hash", answer.link.get_hash());
  EXPECT_EQ(SHARING_CHECK_SUCCESS, answer.result);
  EXPECT_EQ("", answer.set_cookie);
}

TEST_F(DecisionTest, VisitorInside_LoginUsesNothing) {
  StoreVisitedLink(LimitedEntry(3, 1));

  const VisitAnswer answer = Post();

  EXPECT_EQ(SHARING_VISIT_LOGGED_IN, answer.outcome);
  EXPECT_TRUE(answer.has_session);
  EXPECT_EQ("", answer.set_cookie);
  EXPECT_EQ("1", One("SELECT use_count FROM entry"));
  EXPECT_EQ("1", Count("session"));
}

TEST_F(DecisionTest, VisitorInside_LogoutEndsTheSessionForThisLink) {
  StoreVisitedLink(PasswordEntry());

  const VisitAnswer answer = Post("logout");

  EXPECT_EQ(SHARING_VISIT_LOGGED_OUT, answer.outcome);
  EXPECT_FALSE(answer.has_session);
  EXPECT_EQ(kDeletedCookie, answer.set_cookie);
  EXPECT_EQ("0", Count("token"));
  request_.action = "";
  EXPECT_EQ(SHARING_VISIT_LOGIN, Get().outcome);
}

TEST_F(DecisionTest, LogoutOutside_DeletesTheCookie) {
  StoreLink(PasswordEntry());
  request_.session_id = "unknown";

  const VisitAnswer answer = Post("logout");

  EXPECT_EQ(SHARING_VISIT_LOGGED_OUT, answer.outcome);
  EXPECT_EQ(kDeletedCookie, answer.set_cookie);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(DecisionTest, LogoutFromAnotherAddress_EndsTheSession) {
  StoreVisitedLink(PasswordEntry());
  platform_.remote_ip = "192.0.2.8";

  const VisitAnswer answer = Post("logout");

  EXPECT_EQ(SHARING_CHECK_OTHER_ADDRESS, answer.result);
  EXPECT_EQ(SHARING_VISIT_LOGGED_OUT, answer.outcome);
  EXPECT_EQ("0", Count("token"));
}

TEST_F(DecisionTest, LogoutOfAMissingLink_DeletesTheCookie) {
  const VisitAnswer answer = Post("logout");

  EXPECT_EQ(SHARING_VISIT_MISSING, answer.outcome);
  EXPECT_EQ(kDeletedCookie, answer.set_cookie);
  EXPECT_EQ(1, Recorded());
}

TEST_F(DecisionTest, SessionOfAnotherApplicationsLink_DoesNotCount) {
  StoreVisitedLink(OpenEntry());
  platform_.Sql("UPDATE entry SET project_name = 'other'");

  EXPECT_EQ(SHARING_VISIT_MISSING, Get().outcome);
  EXPECT_EQ(SHARING_VISIT_MISSING, Post("logout").outcome);
  EXPECT_EQ("1", Count("token"));
}

TEST_F(DecisionTest, SessionThatIsNotGood_ShowsTheForm) {
  const struct {
    const char* change;
    int result;
  } cases[] = {{"UPDATE session SET timeout = 1", SHARING_CHECK_EXPIRED},
               {"UPDATE session SET ip = '192.0.2.8'", SHARING_CHECK_OTHER_ADDRESS},
               {"DELETE FROM token", SHARING_CHECK_NO_TOKEN},
               {"DELETE FROM session", SHARING_CHECK_NO_SESSION}};

  for (const auto& [change, result] : cases) {
    platform_.Sql("DELETE FROM entry; DELETE FROM session; DELETE FROM token");
    StoreLink(PasswordEntry());
    AddSession(platform_, 7, "sid");
    AddToken(platform_, 3, std::stoi(One("SELECT id FROM entry")), 7);
    request_.session_id = "sid";
    platform_.Sql(change);

    const VisitAnswer answer = Get();

    EXPECT_EQ(SHARING_VISIT_LOGIN, answer.outcome) << change;
    EXPECT_EQ(result, answer.result) << change;
    EXPECT_FALSE(answer.has_session) << change;
  }
}

TEST_F(DecisionTest, SessionIdThatNoCookieHas_IsNotLookedUp) {
  StoreLink(PasswordEntry());
  request_.session_id = "' OR 1=1 --";

  EXPECT_EQ(SHARING_VISIT_LOGIN, Get().outcome);
  EXPECT_THAT(platform_.statements(), Each(Not(HasSubstr("session"))));
}

TEST_F(DecisionTest, LookupFails_IsNotAnAbsence) {
  StoreVisitedLink(PasswordEntry());
  platform_.FailStatement("FROM entry");

  EXPECT_EQ(SHARING_VISIT_TRY_LATER, Get().outcome);
  EXPECT_THAT(log_.lines(), Contains(HasSubstr("visit: cannot look up a link: ")));
  EXPECT_EQ(0, Recorded());
}

TEST_F(DecisionTest, AnyCallFails_VisitorInsideNeverGetsTheForm) {
  int n = 0;
  do {
    platform_.Sql("DELETE FROM entry; DELETE FROM session; DELETE FROM token");
    StoreLink(PasswordEntry());
    AddSession(platform_, 7, "sid");
    AddToken(platform_, 3, std::stoi(One("SELECT id FROM entry")), 7);
    request_.session_id = "sid";
    platform_.FailCall(++n);
    EXPECT_THAT(Get().outcome, AnyOf(SHARING_VISIT_CONTENT, SHARING_VISIT_TRY_LATER))
        << n;
  } while (platform_.injected());
  EXPECT_GT(n, 10);
}

TEST_F(DecisionTest, AnyCallFails_AnAbsentLinkIsNeverServedOrFree) {
  int n = 0;
  do {
    fakes::SqlValue(folder_.Path("visit.db"), "DELETE FROM attempt");
    platform_.failed_logins.clear();
    platform_.FailCall(++n);
    const VisitAnswer answer = Get();
    EXPECT_THAT(answer.outcome, AnyOf(SHARING_VISIT_MISSING, SHARING_VISIT_TRY_LATER))
        << n;
    EXPECT_EQ(answer.outcome == SHARING_VISIT_MISSING ? 1 : 0, Recorded()) << n;
  } while (platform_.injected());
  EXPECT_GT(n, 5);
}

}  // namespace
}  // namespace VEXO::sharing
