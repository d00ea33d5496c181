#include <chrono>
#include <string>

#include "decision_test.h"
#include "visit/attempt_store.h"
#include "visit/link_lock.h"

namespace VEXO::sharing {
namespace {

using record::Entry;
using testing::AllOf;
using testing::AnyOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;
using testing::Not;

class LoginDecisionTest : public DecisionTest {
 protected:
  /// The session id that the answer gives the visitor.
  static std::string SessionOf(const VisitAnswer& answer) {
    const std::string& cookie = answer.set_cookie;
    const size_t begin = cookie.find('=') + 1;
    return cookie.substr(begin, cookie.find(';') - begin);
  }

  void ExpectFormAgain(const VisitAnswer& answer, VexoSharingVisitProblem problem) {
    EXPECT_EQ(SHARING_VISIT_LOGIN, answer.outcome);
    EXPECT_EQ(problem, answer.problem);
    EXPECT_EQ("hash", answer.link.get_hash());
    EXPECT_EQ("", answer.set_cookie);
  }
};

TEST_F(LoginDecisionTest, RightPassword_GivesASession) {
  StoreLink(PasswordEntry());

  const VisitAnswer answer = LogIn("secret");

  EXPECT_EQ(SHARING_VISIT_LOGGED_IN, answer.outcome);
  EXPECT_EQ(SHARING_LOGIN_SUCCESS, answer.result);
  EXPECT_TRUE(answer.has_session);
  const std::string session = One("SELECT session_id FROM session");
  EXPECT_EQ("sharing=" + session + "; Path=/sharing/hash; HttpOnly; SameSite=Lax",
            answer.set_cookie);
  EXPECT_EQ("1", One("SELECT use_count FROM entry"));
  EXPECT_EQ("0", Attempts());
  request_.session_id = session;
  EXPECT_EQ(SHARING_VISIT_CONTENT, Get().outcome);
}

TEST_F(LoginDecisionTest, ActionLogin_IsTheSameAsNone) {
  StoreLink(PasswordEntry());
  request_.password = "secret";

  EXPECT_EQ(SHARING_VISIT_LOGGED_IN, Post("login").outcome);
}

TEST_F(LoginDecisionTest, WrongPassword_ShowsTheFormAndCounts) {
  StoreLink(PasswordEntry());

  const VisitAnswer answer = LogIn("wrong");

  ExpectFormAgain(answer, SHARING_VISIT_PASSWORD_WRONG);
  EXPECT_EQ(SHARING_LOGIN_WRONG_PASSWORD, answer.result);
  EXPECT_EQ(1, Recorded());
  EXPECT_EQ("1", Attempts());
}

TEST_F(LoginDecisionTest, EmptyField_ShowsTheFormAndTheLibraryIsNotCalled) {
  StoreLink(PasswordEntry());
  ExpectFormAgain(LogIn(""), SHARING_VISIT_PASSWORD_EMPTY);
  platform_.Sql("DELETE FROM entry");
  StoreLink(UserEntry({1001}));
  ExpectFormAgain(LogIn("anna's"), SHARING_VISIT_USERNAME_EMPTY);
  request_.username = "anna";
  ExpectFormAgain(LogIn(""), SHARING_VISIT_PASSWORD_EMPTY);

  EXPECT_EQ(0, Recorded());
  EXPECT_THAT(platform_.logins, IsEmpty());
  ExpectNothingDone();
}

TEST_F(LoginDecisionTest, ListedUser_GetsASession) {
  StoreLink(UserEntry({1001}));
  request_.username = "anna";

  const VisitAnswer answer = LogIn("anna's");

  EXPECT_EQ(SHARING_VISIT_LOGGED_IN, answer.outcome);
  EXPECT_NE("", answer.set_cookie);
  EXPECT_EQ("1001", One("SELECT uid FROM session"));
  EXPECT_EQ("0", Attempts());
}

TEST_F(LoginDecisionTest, WrongCredentials_ShowTheFormAndCount) {
  StoreLink(UserEntry({1001}));
  request_.username = "anna";

  ExpectFormAgain(LogIn("wrong"), SHARING_VISIT_CREDENTIALS_WRONG);
  EXPECT_EQ(1, Recorded());
  EXPECT_EQ("1", Attempts());
}

TEST_F(LoginDecisionTest, UserWhoIsNotListed_IsRefused) {
  StoreLink(UserEntry({1001}));
  request_.username = "bert";

  const VisitAnswer answer = LogIn("bert's");

  EXPECT_EQ(SHARING_VISIT_REFUSED, answer.outcome);
  EXPECT_EQ(SHARING_VISIT_USER_NOT_ADMITTED, answer.problem);
  EXPECT_EQ("hash", answer.link.get_hash());
  EXPECT_EQ("", answer.set_cookie);
  EXPECT_EQ(1, Recorded());
}

TEST_F(LoginDecisionTest, UserNameAtAPasswordLink_IsIgnored) {
  StoreLink(PasswordEntry());
  request_.username = "anna";

  EXPECT_EQ(SHARING_VISIT_LOGGED_IN, LogIn("secret").outcome);
  EXPECT_THAT(platform_.logins, IsEmpty());
}

TEST_F(LoginDecisionTest, ForeignSessionId_NeverBecomesGood) {
  StoreLink(PasswordEntry());
  AddSession(platform_, 7, "foreign");
  request_.session_id = "foreign";

  const VisitAnswer answer = LogIn("secret");

  EXPECT_EQ(SHARING_VISIT_LOGGED_IN, answer.outcome);
  EXPECT_NE("foreign", SessionOf(answer));
  request_.session_id = "foreign";
  EXPECT_EQ(SHARING_VISIT_LOGIN, Get().outcome);
}

TEST_F(LoginDecisionTest, UseLimit_AdmitsThatManyLogins) {
  StoreLink(LimitedEntry(2));

  EXPECT_EQ(SHARING_VISIT_LOGGED_IN, Post().outcome);
  const VisitAnswer second = Post();
  EXPECT_EQ(SHARING_VISIT_LOGGED_IN, second.outcome);
  EXPECT_EQ(SHARING_VISIT_USED_UP, Post().outcome);
  request_.session_id = SessionOf(second);
  EXPECT_EQ(SHARING_VISIT_CONTENT, Get().outcome);
}

TEST_F(LoginDecisionTest, UseLimit_TheLoginIsMadeUnderTheLockOfTheLink) {
  StoreLink(LimitedEntry(1));
  request_.method = "POST";

  EXPECT_EQ(SHARING_VISIT_TRY_LATER, Decide(request_, folder_.Path("missing")).outcome);
  ExpectNothingDone();
}

TEST_F(LoginDecisionTest, UseLimit_TheLinkIsStillLockedWhenTheUseIsCounted) {
  StoreLink(LimitedEntry(1));
  int counted = 0;
  platform_.before_statement = [&](const std::string& sql) {
    if (sql.rfind("UPDATE entry", 0) != 0) return;
    ++counted;
    LinkLock lock;
    EXPECT_FALSE(lock.Take(folder_.Path("."), "hash", std::chrono::milliseconds(0)));
  };

  EXPECT_EQ(SHARING_VISIT_LOGGED_IN, Post().outcome);
  EXPECT_EQ(1, counted);
}

TEST_F(LoginDecisionTest, ThirtyWrongPasswords_BlockTheLoginsOfTheLink) {
  StoreVisitedLink(PasswordEntry());
  const std::string inside = std::exchange(request_.session_id, "");
  for (int i = 0; i < 30; ++i) {
    platform_.remote_ip = "198.51.100." + std::to_string(i);
    EXPECT_EQ(SHARING_VISIT_PASSWORD_WRONG, LogIn("wrong").problem) << i;
  }
  platform_.remote_ip = "192.0.2.7";

  const VisitAnswer answer = LogIn("secret");
  EXPECT_EQ(SHARING_VISIT_BLOCKED, answer.outcome);
  EXPECT_THAT(answer.retry_after, AllOf(Ge(200), Le(300)));
  EXPECT_EQ(0, answer.link.get_id());
  EXPECT_EQ(0, Recorded());
  EXPECT_EQ(SHARING_VISIT_LOGIN, Get().outcome);
  request_.session_id = inside;
  EXPECT_EQ(SHARING_VISIT_CONTENT, Get().outcome);
  request_.session_id = "";

  platform_.Sql("UPDATE entry SET hash = 'other'");
  request_.hash = "other";
  EXPECT_EQ(SHARING_VISIT_LOGGED_IN, LogIn("secret").outcome);
}

TEST_F(LoginDecisionTest, RightPasswords_DoNotCountAsGuesses) {
  StoreLink(PasswordEntry());

  for (int i = 0; i < 31; ++i) {
    EXPECT_EQ(SHARING_VISIT_LOGGED_IN, LogIn("secret").outcome) << i;
  }
}

TEST_F(LoginDecisionTest, ThirtyLoginsInProgress_TheNextIsToldToTryInSeconds) {
  StoreLink(PasswordEntry());
  AttemptStore attempts(folder_.Path("."));
  for (int i = 0; i < 30; ++i) attempts.Begin("guess hash", 30);

  const VisitAnswer answer = LogIn("secret");

  EXPECT_EQ(SHARING_VISIT_TRY_LATER, answer.outcome);
  EXPECT_EQ(3, answer.retry_after);
  EXPECT_EQ(0, answer.link.get_id());
  ExpectNothingDone();
}

TEST_F(LoginDecisionTest, ThirtyLoginsInProgress_TheNextWaitsAMomentForThem) {
  StoreLink(PasswordEntry());
  AttemptStore attempts(folder_.Path("."));
  for (int i = 0; i < 30; ++i) attempts.Begin("guess hash", 30);
  // Each look at the attempts removes four expired ones.  The logins in progress end with
  // the last of them.
  fakes::SqlValue(
      folder_.Path("visit.db"),
      "INSERT INTO attempt(subject, at, failed) "
      "VALUES('old', 1, 1), ('old', 1, 1), ('old', 1, 1), ('old', 1, 1), ('old', 1, 1);"
      "CREATE TRIGGER finish AFTER DELETE ON attempt "
      "WHEN NOT EXISTS(SELECT 1 FROM attempt WHERE subject = 'old') "
      "BEGIN DELETE FROM attempt; END");

  EXPECT_EQ(SHARING_VISIT_LOGGED_IN, LogIn("secret").outcome);
}

TEST_F(LoginDecisionTest, GuessThatCannotBeCounted_IsNotMade) {
  StoreLink(PasswordEntry());
  request_.method = "POST";
  request_.password = "wrong";
  const std::string missing = folder_.Path("missing");

  EXPECT_EQ(SHARING_VISIT_TRY_LATER, Decide(request_, missing).outcome);
  EXPECT_EQ(0, Recorded());
  request_.method = "GET";
  EXPECT_EQ(SHARING_VISIT_LOGIN, Decide(request_, missing).outcome);
  platform_.Sql("DELETE FROM entry");
  StoreLink(OpenEntry());
  EXPECT_EQ(SHARING_VISIT_CONTENT, Decide(request_, missing).outcome);
}

TEST_F(LoginDecisionTest, GroupsCannotBeLookedUp_IsAFailureAndNotAnAbsence) {
  StoreLink(UserEntry({}, {50}));
  request_.username = "anna";
  platform_.Fail("VLIBGroupInfoHashGet");

  const VisitAnswer answer = LogIn("anna's");

  EXPECT_EQ(SHARING_LOGIN_NO_USABLE_LINK, answer.result);
  EXPECT_EQ(SHARING_VISIT_TRY_LATER, answer.outcome);
}

TEST_F(LoginDecisionTest, CookieThatCannotBeSent_UsesNothing) {
  StoreLink(LimitedEntry(1));
  request_.cookie_path = "/sharing/hash\r\nSet-Cookie: other=1";

  EXPECT_EQ(SHARING_VISIT_TRY_LATER, Post().outcome);
  EXPECT_THAT(log_.lines(), ElementsAre(HasSubstr("cookie cannot be sent")));
  ExpectNothingDone();
}

TEST_F(LoginDecisionTest, AnyCallFails_ThePasswordIsNeverLogged) {
  request_.username = "anna";
  for (const Entry& entry : {PasswordEntry(), UserEntry({1001})}) {
    int n = 0;
    do {
      platform_.FailCall(0);
      platform_.Sql("DELETE FROM entry");
      StoreLink(entry);
      fakes::SqlValue(folder_.Path("visit.db"), "DELETE FROM attempt");
      platform_.FailCall(++n);
      LogIn("wr0ng-text");
    } while (platform_.injected());
    EXPECT_GT(n, 10);
  }
  EXPECT_THAT(log_.lines(), Not(IsEmpty()));
  EXPECT_THAT(log_.lines(), Each(Not(HasSubstr("wr0ng-text"))));
}

TEST_F(LoginDecisionTest, AnyCallFails_AGoodLoginIsNeverAnsweredAsAbsent) {
  int n = 0;
  do {
    platform_.Sql("DELETE FROM entry");
    StoreLink(PasswordEntry());
    platform_.FailCall(++n);
    const VisitAnswer answer = LogIn("secret");
    EXPECT_THAT(answer.outcome, AnyOf(SHARING_VISIT_LOGGED_IN, SHARING_VISIT_TRY_LATER))
        << n << " " << answer.result;
    EXPECT_EQ(answer.outcome == SHARING_VISIT_LOGGED_IN, answer.set_cookie != "") << n;
  } while (platform_.injected());
  EXPECT_GT(n, 20);
}

}  // namespace
}  // namespace VEXO::sharing
