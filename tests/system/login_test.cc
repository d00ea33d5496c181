#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "child_process.h"
#include "compilations.h"
#include "entry_db.h"
#include "file_lock.h"
#include "sharing_db.h"
#include "sharinglogin.h"
#include "system_test.h"

using system_test::Answer;
using system_test::InChild;
using system_test::kDatabase;
using system_test::Link;
using system_test::SqlValue;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::SharingDB;
using VEXO::sharing::record::Entry;

namespace {

const char kAddress[] = "192.0.2.1";
constexpr off_t kWaiterByte = 1;  // of the lock file: locked by every waiting process

void Store(Entry link) {
  // In a child process, since a process opens the database only once.
  const Answer answer = InChild(system_test::Root(), [&] {
    return EntryDB(SharingDB::Instance()).Create(link) ? "stored" : "refused";
  });
  ASSERT_EQ(answer.text, "stored");
}

Entry UserLink(const std::string& hash) {
  Entry link = Link(hash);
  link.set_protect_type(Entry::PROTECT_USER);
  link.set_protect_users({"alice", "carol", "dave"});
  return link;
}

Entry PasswordLink(const std::string& hash) {
  Entry link = Link(hash);
  link.set_protect_type(Entry::PROTECT_PASSWORD);
  link.set_protect_password("open sesame", true, Entry::ENCRYPT_ALGO_DEFAULT);
  return link;
}

/// What a visitor of the link "link" sends.
struct Visitor {
  const char* user = nullptr;
  const char* password = nullptr;
  const char* session_id = nullptr;
  const char* address = kAddress;
};

_tag_sharing_login_params Params(const Visitor& visitor) {
  setenv("REMOTE_ADDR", visitor.address, 1);
  _tag_sharing_login_params params = {};
  params.hash = "link";
  params.session_id = visitor.session_id;
  params.username = visitor.user;
  (visitor.user == nullptr ? params.password : params.user_password) = visitor.password;
  return params;
}

/// Each operation in its own process, like a CGI program: the result code, and the
/// session id of a successful login.
struct Login {
  explicit Login(const Visitor& visitor,
                 const system_test::Account& account = system_test::Root()) {
    const Answer answer = InChild(account, [&] {
      const _tag_sharing_login_params params = Params(visitor);
      std::string session;
      const int result = VEXO::VexoSharingLogin(session, &params, false);
      return std::to_string(result) + " " + session;
    });
    const std::size_t blank = answer.text.find(' ');
    code = answer.text.substr(0, blank);
    session_id = blank == std::string::npos ? "" : answer.text.substr(blank + 1);
    log = answer.log;
  }

  std::string code;
  std::string session_id;
  std::vector<std::string> log;
};

std::string Check(const Visitor& visitor,
                  const system_test::Account& account = system_test::Root()) {
  return InChild(account,
                 [&] {
                   const _tag_sharing_login_params params = Params(visitor);
                   return std::to_string(VEXO::VexoSharingIsAuthorized(&params));
                 })
      .text;
}

std::string Logout(const std::string& session_id) {
  return InChild(system_test::Root(),
                 [&] {
                   return std::to_string(VexoSharingLogout("link", session_id.c_str()));
                 })
      .text;
}

Visitor Returning(const Login& login) {
  Visitor visitor;
  visitor.session_id = login.session_id.c_str();
  return visitor;
}

}  // namespace

TEST(RealLogin, RightPasswordOfAListedUser_IsAdmittedAsRoot) {
  Store(UserLink("link"));

  const Login login({"alice", "alice-secret"});

  EXPECT_EQ(login.code, "1");
  EXPECT_EQ(login.session_id.size(), 32U);
  EXPECT_EQ(SqlValue(kDatabase, "SELECT uid || ' ' || ip FROM session"),
            "5001 192.0.2.1");
  EXPECT_EQ(Check(Returning(login)), "1");
}

TEST(RealLogin, RightPassword_IsAdmittedAsTheSystemAccountWithGroupShadow) {
  Store(UserLink("link"));

  const Login login({"alice", "alice-secret"}, system_test::SystemWithShadow());

  EXPECT_EQ(login.code, "1");
  EXPECT_EQ(Check(Returning(login), system_test::SystemWithShadow()), "1");
}

TEST(RealLogin, RightPassword_IsRefusedAndLoggedAsTheBareSystemAccount) {
  Store(UserLink("link"));

  const Login login({"alice", "alice-secret"}, system_test::System());

  EXPECT_EQ(login.code, "-2");
  EXPECT_THAT(login.log, Contains(HasSubstr("shadow")));
}

TEST(RealLogin, WrongPassword_IsRefused) {
  Store(UserLink("link"));

  EXPECT_EQ(Login({"alice", "bob-secret"}).code, "-2");
}

TEST(RealLogin, ExpiredAccount_IsRefused) {
  Store(UserLink("link"));

  EXPECT_EQ(Login({"carol", "carol-secret"}).code, "-2");
}

TEST(RealLogin, LockedPassword_IsRefused) {
  Store(UserLink("link"));

  EXPECT_EQ(Login({"dave", "dave-secret"}).code, "-2");
}

TEST(RealLogin, UnknownUser_IsRefused) {
  Store(UserLink("link"));

  EXPECT_EQ(Login({"nobody-here", "x"}).code, "-2");
}

TEST(RealLogin, UserWhoIsNotListed_IsNotAdmitted) {
  Store(UserLink("link"));

  EXPECT_EQ(Login({"bob", "bob-secret"}).code, "-10");
}

TEST(RealLogin, MemberOfAListedGroup_IsAdmitted) {
  Entry link = Link("link");
  link.set_protect_type(Entry::PROTECT_USER);
  link.set_protect_groups({"staff-test"});
  Store(link);

  EXPECT_EQ(Login({"alice", "alice-secret"}).code, "1");
  EXPECT_EQ(Login({"bob", "bob-secret"}).code, "-10");
}

TEST(RealLogin, UserRemovedFromTheList_IsRefusedAtTheNextCheck) {
  Store(UserLink("link"));
  const Login login({"alice", "alice-secret"});
  ASSERT_EQ(login.code, "1");
  ASSERT_EQ(InChild(system_test::Root(),
                    [] {
                      EntryDB links(SharingDB::Instance());
                      Entry link;
                      if (!links.GetByHash("link", link)) return "not found";
                      link.set_protect_users({"bob"});
                      return links.Update(link) ? "updated" : "refused";
                    })
                .text,
            "updated");

  EXPECT_EQ(Check(Returning(login)), "-2");
}

TEST(RealLogin, LoginCheckLogout_EndsTheSession) {
  Store(PasswordLink("link"));
  const Login login({nullptr, "open sesame"});
  ASSERT_EQ(login.code, "1");

  EXPECT_EQ(Check(Returning(login)), "1");
  EXPECT_EQ(Logout(login.session_id), "1");
  EXPECT_EQ(Check(Returning(login)), "-7");
  EXPECT_EQ(Logout(login.session_id), "0");
}

TEST(RealLogin, LaterLoginsAndChecks_CompileNothing) {
  if (!VEXO_KEEP_STATEMENTS) GTEST_SKIP() << "built without kept statements";
  static sqlite3* connection = nullptr;
  sqlite3_auto_extension(reinterpret_cast<void (*)()>(
      +[](sqlite3* opened, const char** /*error*/, const sqlite3_api_routines* /*api*/) {
        connection = opened;
        return SQLITE_OK;
      }));
  SharingDB& db = SharingDB::Instance();
  sqlite3_cancel_auto_extension(nullptr);
  ASSERT_NE(connection, nullptr);
  Entry link = Link("link");
  ASSERT_TRUE(EntryDB(db).Create(link));
  const auto visit = [&link, &db] {
    _tag_sharing_login_params params = Params({});
    std::string session;
    EXPECT_EQ(VEXO::VexoSharingLogin(session, &params, true), 1);
    params.session_id = session.c_str();
    EXPECT_EQ(VEXO::VexoSharingIsAuthorized(&params), 1);
    EXPECT_EQ(VEXO::VexoSharingIsAuthorized(&params), 1);
    EXPECT_TRUE(VEXO::VexoSharingLogout(params.hash, session));
    Entry other = Link("");
    EXPECT_TRUE(EntryDB(db).CreateWithHash(other));
    EXPECT_TRUE(EntryDB(db).GetByHash(other.get_hash(), link));
    EXPECT_TRUE(EntryDB(db).Update(other));
    EXPECT_TRUE(EntryDB(db).Delete(other));
  };

  Compilations compilations(connection);
  visit();
  visit();
  compilations.Clear();
  visit();
  EXPECT_EQ(compilations.count(), 0);
}

TEST(RealLogin, SecondLoginOfAVisitor_KeepsSessionAndToken) {
  Store(PasswordLink("link"));
  const Login first({nullptr, "open sesame"});

  Visitor visitor = Returning(first);
  visitor.password = "open sesame";
  const Login second(visitor);

  EXPECT_EQ(second.session_id, first.session_id);
  EXPECT_EQ(SqlValue(kDatabase, "SELECT count(*) FROM token"), "1");
  EXPECT_EQ(SqlValue(kDatabase, "SELECT use_count FROM entry"), "2");
}

TEST(RealLogin, ExpiredSession_IsRevivedByALoginOnly) {
  Store(PasswordLink("link"));
  const Login first({nullptr, "open sesame"});
  SqlValue(kDatabase, "UPDATE session SET timeout = 5");

  EXPECT_EQ(Check(Returning(first)), "-1");
  Visitor visitor = Returning(first);
  visitor.password = "open sesame";
  EXPECT_EQ(Login(visitor).session_id, first.session_id);
  EXPECT_EQ(Check(Returning(first)), "1");
}

TEST(RealLogin, ExpiredToken_IsDeletedByTheCheck) {
  Store(PasswordLink("link"));
  const Login login({nullptr, "open sesame"});
  SqlValue(kDatabase, "UPDATE token SET timeout = 5");

  EXPECT_EQ(Check(Returning(login)), "-1");
  EXPECT_EQ(SqlValue(kDatabase, "SELECT count(*) FROM token"), "0");
}

TEST(RealLogin, Check_MovesBothDeadlinesToOneDayAhead) {
  Store(PasswordLink("link"));
  const Login login({nullptr, "open sesame"});
  const long before = time(nullptr);
  SqlValue(kDatabase, "UPDATE session SET timeout = 99999999999");
  SqlValue(kDatabase, "UPDATE token SET timeout = " + std::to_string(before + 60));

  ASSERT_EQ(Check(Returning(login)), "1");

  const long after = time(nullptr);
  for (const char* const table : {"session", "token"}) {
    const long timeout =
        std::stol(SqlValue(kDatabase, std::string("SELECT timeout FROM ") + table));
    EXPECT_GE(timeout, before + 86400) << table;
    EXPECT_LE(timeout, after + 86400) << table;
  }
}

TEST(RealLogin, CheckFromAnotherAddress_IsRefused) {
  Store(PasswordLink("link"));
  const Login login({nullptr, "open sesame"});

  Visitor visitor = Returning(login);
  visitor.address = "192.0.2.2";
  EXPECT_EQ(Check(visitor), "-8");
}

TEST(RealLogin, LinkForThreeUses_AdmitsThree) {
  Entry link = Link("link");
  link.set_expire_times(3);
  Store(link);

  EXPECT_EQ(Login({}).code, "1");
  EXPECT_EQ(Login({}).code, "1");
  EXPECT_EQ(Login({}).code, "1");
  EXPECT_EQ(Login({}).code, "-11");
}

TEST(RealLogin, UnknownDisabledOrExpiredLink_IsRefused) {
  EXPECT_EQ(Login({}).code, "-3");
  Entry link = Link("link");
  link.set_expire_at(time(nullptr) - 1);
  Store(link);
  EXPECT_EQ(Login({}).code, "-3");
  SqlValue(kDatabase, "UPDATE entry SET expire_at = 0, enabled = 0");
  EXPECT_EQ(Login({}).code, "-3");
  SqlValue(kDatabase, "UPDATE entry SET enabled = 1");
  EXPECT_EQ(Login({}).code, "1");
}

TEST(RealLogin, TenWrongPasswords_BlockTheAddressAndNoOther) {
  Store(PasswordLink("link"));
  for (int i = 0; i < 10; ++i) {
    ASSERT_EQ(Login({nullptr, "guess"}).code, "-9");
  }

  EXPECT_EQ(Login({nullptr, "open sesame"}).code, "-8");
  EXPECT_EQ(Login({nullptr, "open sesame", nullptr, "192.0.2.2"}).code, "1");
}

TEST(RealLogin, Success_ClearsTheFailuresOfTheAddress) {
  Store(PasswordLink("link"));
  for (int i = 0; i < 9; ++i) {
    ASSERT_EQ(Login({nullptr, "guess"}).code, "-9");
  }
  ASSERT_EQ(Login({nullptr, "open sesame"}).code, "1");

  EXPECT_EQ(Login({nullptr, "guess"}).code, "-9");
  EXPECT_EQ(Login({nullptr, "open sesame"}).code, "1");
}

TEST(RealLogin, MappedAddress_CountsAsTheIpv4OneItIs) {
  Store(PasswordLink("link"));
  const Login login({nullptr, "open sesame", nullptr, "::ffff:192.0.2.1"});

  EXPECT_EQ(Check(Returning(login)), "1");
}

TEST(RealLogin, NoAddress_IsAGeneralFailure) {
  Store(Link("link"));

  EXPECT_EQ(Login({nullptr, nullptr, nullptr, ""}).code, "-4");
  EXPECT_EQ(Login({nullptr, nullptr, nullptr, "no address"}).code, "-4");
}

TEST(RealLogin, CFunctions_ReturnTheSameAsTheCppOnes) {
  Store(PasswordLink("link"));
  const Answer answer = InChild(system_test::Root(), [] {
    _tag_sharing_login_params params = Params({nullptr, "open sesame"});
    char session[64] = {};
    std::string codes =
        std::to_string(VexoSharingLogin(session, sizeof(session), &params, 0));
    params.session_id = session;
    codes += " " + std::to_string(VexoSharingIsAuthorized(&params));
    codes += " " + std::to_string(VexoSharingIncreaseUseCount("link"));
    codes += " " + std::to_string(VexoSharingLogout("link", session));
    return codes + " " + std::to_string(VexoSharingIsAuthorized(&params));
  });

  EXPECT_EQ(answer.text, "1 1 1 1 -7");
  EXPECT_THAT(answer.log, IsEmpty());
  EXPECT_EQ(SqlValue(kDatabase, "SELECT use_count FROM entry"), "2");
}

TEST(RealLogin, WaitForLockTimesOut_ReturnsMinus4AfterOneWaitAndStoresNothing) {
  Entry link = Link("link");
  link.set_expire_times(1);
  Store(link);
  fakes::FileLock lock(std::string(kDatabase) + "-lock");
  ASSERT_TRUE(lock.taken());

  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Login({}).code, "-4");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(12));
  EXPECT_EQ(SqlValue(kDatabase, "SELECT use_count FROM entry"), "0");
  EXPECT_EQ(SqlValue(kDatabase, "SELECT count(*) FROM session"), "0");

  lock.Release();
  EXPECT_EQ(Login({}).code, "1");
  EXPECT_EQ(Login({}).code, "-11");
}

TEST(RealLogin, LockReleasedJustAfterInterruptedWait_ReturnsMinus4AndStoresNothing) {
  Entry link = Link("link");
  link.set_expire_times(1);
  Store(link);
  fakes::FileLock lock(std::string(kDatabase) + "-lock");
  ASSERT_TRUE(lock.taken());

  const Answer answer = InChild(system_test::Root(), [&lock] {
    SharingDB::Instance();
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const pid_t releasing = fork();
    if (releasing == 0) {  // interrupts the wait, then releases the lock
      while (!fakes::IsLocked(std::string(kDatabase) + "-lock", kWaiterByte))
        usleep(1000);
      usleep(10 * 1000);
      kill(getppid(), SIGALRM);
      lock.Release();
      _exit(0);
    }
    const _tag_sharing_login_params params = Params({});
    std::string session;
    return std::to_string(VEXO::VexoSharingLogin(session, &params, false));
  });

  EXPECT_EQ(answer.text, "-4");
  EXPECT_EQ(SqlValue(kDatabase, "SELECT use_count FROM entry"), "0");
  EXPECT_EQ(SqlValue(kDatabase, "SELECT count(*) FROM session"), "0");
}

TEST(RealLogin, ConcurrentLogins_EveryUseIsCounted) {
  constexpr int kVisitors = 16;
  constexpr int kVisits = 25;
  Store(Link("link"));
  std::vector<pid_t> visitors;
  for (int i = 0; i < kVisitors; ++i) {
    visitors.push_back(fakes::StartChild([] {
      for (int visit = 0; visit < kVisits; ++visit) {
        const _tag_sharing_login_params params = Params({});
        std::string session;
        if (VEXO::VexoSharingLogin(session, &params, false) != 1) return false;
      }
      return true;
    }));
  }
  for (const pid_t visitor : visitors) EXPECT_TRUE(fakes::EndsWell(visitor));

  EXPECT_EQ(SqlValue(kDatabase, "SELECT use_count FROM entry"),
            std::to_string(kVisitors * kVisits));
}

TEST(RealLogin, AnyOtherAccount_GetsAGeneralFailure) {
  Store(Link("link"));

  EXPECT_EQ(Login({}, system_test::Neither()).code, "-4");
}
