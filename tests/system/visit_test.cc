#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "child_process.h"
#include "entry_db.h"
#include "sharing_db.h"
#include "sharing_visit.h"
#include "system_test.h"

using system_test::Account;
using system_test::Answer;
using system_test::InChild;
using system_test::kDatabase;
using system_test::Link;
using system_test::OwnerAndMode;
using system_test::Root;
using system_test::SqlValue;
using system_test::System;
using testing::ElementsAre;
using testing::HasSubstr;
using VEXO::sharing::Visit;
using VEXO::sharing::VisitAnswer;
using VEXO::sharing::VisitRequest;
using VEXO::sharing::db::BaseDB;
using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::SharingDB;
using VEXO::sharing::record::Entry;

namespace {

const char kFolder[] = "/usr/vexo/etc/private/visit";
const char kAttempts[] = "/usr/vexo/etc/private/visit/visit.db";
const char kPassword[] = "open sesame";

void Store(Entry link) {
  const Answer answer = InChild(Root(), [&] {
    return EntryDB(SharingDB::Instance()).Create(link) ? "stored" : "refused";
  });
  ASSERT_EQ(answer.text, "stored");
}

Entry PasswordLink(const std::string& hash = "link") {
  Entry link = Link(hash);
  link.set_protect_type(Entry::PROTECT_PASSWORD);
  link.set_protect_password(kPassword, true, Entry::ENCRYPT_ALGO_DEFAULT);
  return link;
}

Entry LimitedLink(int limit) {
  Entry link = Link("link");
  link.set_expire_times(limit);
  return link;
}

VisitRequest Request(const std::string& method, const std::string& hash = "link") {
  VisitRequest request;
  request.project = "photos";
  request.hash = hash;
  request.method = method;
  request.remote_address = "192.0.2.1";
  request.cookie_name = "photos";
  request.cookie_path = "/photos/" + hash;
  return request;
}

VisitRequest Login(const std::string& password) {
  VisitRequest request = Request("POST");
  request.password = password;
  return request;
}

std::string SessionOf(const std::string& cookie) {
  const size_t begin = cookie.find('=') + 1;
  return cookie.substr(begin, cookie.find(';') - begin);
}

/// Visits in a process of its own.  "OUTCOME PROBLEM RESULT SESSION".
Answer Ask(const VisitRequest& request, const Account& account = System()) {
  return InChild(account, [&] {
    const VisitAnswer answer = Visit(request);
    return std::to_string(answer.outcome) + " " + std::to_string(answer.problem) + " " +
           std::to_string(answer.result) + " " + SessionOf(answer.set_cookie);
  });
}

int Outcome(const VisitRequest& request, const Account& account = System()) {
  return std::stoi(Ask(request, account).text);
}

/// Runs `work` in this many processes at the same moment; returns how many of them
/// returned true.
long AtOnce(int processes, const std::function<bool(int)>& work) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) == -1) abort();
  std::vector<pid_t> children;
  for (int i = 0; i < processes; ++i) {
    children.push_back(fakes::StartChild([&, i] {
      close(ends[1]);
      char byte = 0;
      return read(ends[0], &byte, 1) == 0 && work(i);
    }));
  }
  close(ends[0]);
  close(ends[1]);
  return std::count_if(children.begin(), children.end(), fakes::EndsWell);
}

TEST(Visit, RightPassword_OpensTheLinkForLaterRequests) {
  Store(PasswordLink());

  EXPECT_EQ(Outcome(Request("GET")), SHARING_VISIT_LOGIN);
  EXPECT_EQ(Ask(Login("guess")).text, "4 3 -9 ");
  const std::string login = Ask(Login(kPassword)).text;
  ASSERT_EQ(login.substr(0, 6), "2 0 1 ");
  VisitRequest later = Request("GET");
  later.session_id = login.substr(6);
  EXPECT_EQ(Outcome(later), SHARING_VISIT_CONTENT);
  later.method = "POST";
  later.action = "logout";
  EXPECT_EQ(Outcome(later), SHARING_VISIT_LOGGED_OUT);
  later.method = "GET";
  EXPECT_EQ(Outcome(later), SHARING_VISIT_LOGIN);
}

TEST(Visit, AccountOfTheAppliance_LogsInThroughPam) {
  Entry link = Link("link");
  link.set_protect_type(Entry::PROTECT_USER);
  link.set_protect_users({"alice"});
  Store(link);
  VisitRequest request = Login("alice-secret");
  request.username = "alice";

  EXPECT_EQ(Outcome(request, system_test::SystemWithShadow()), SHARING_VISIT_LOGGED_IN);
  request.password = "guess";
  EXPECT_EQ(Ask(request, system_test::SystemWithShadow()).text, "4 4 -2 ");
}

TEST(Visit, Root_ItsFilesBelongToTheSystemAccountAndItsIdsStay) {
  Store(PasswordLink());
  Entry limited = PasswordLink("limited");
  limited.set_expire_times(2);
  Store(limited);
  ASSERT_EQ(rmdir(kFolder), 0);

  const Answer answer = InChild(Root(), [] {
    VisitRequest request = Login(kPassword);
    request.hash = "limited";
    const int outcome = Visit(request).outcome;
    return std::to_string(outcome) + " " + std::to_string(geteuid()) + " " +
           std::to_string(getegid());
  });

  EXPECT_EQ(answer.text, "2 0 0");
  EXPECT_EQ(OwnerAndMode(kFolder), "750 1:1");
  EXPECT_EQ(OwnerAndMode(kAttempts), "660 1:1");
  EXPECT_EQ(OwnerAndMode(std::string(kFolder) + "/visit.lock"), "660 1:1");
}

TEST(Visit, TenWrongPasswords_BlockTheAddressAtEveryLink) {
  Store(PasswordLink());
  Store(Link("open"));
  for (int i = 0; i < 10; ++i) EXPECT_EQ(Outcome(Login("guess")), SHARING_VISIT_LOGIN);

  const Answer blocked = InChild(System(), [] {
    const VisitAnswer answer = Visit(Request("GET", "open"));
    return std::to_string(answer.outcome) +
           (answer.retry_after > 3500 && answer.retry_after <= 3600 ? " an hour" : "");
  });
  EXPECT_EQ(blocked.text, "9 an hour");
  EXPECT_EQ(Outcome(Login(kPassword)), SHARING_VISIT_BLOCKED);
  EXPECT_EQ(Outcome(Request("GET", "unknown")), SHARING_VISIT_BLOCKED);
  VisitRequest elsewhere = Login(kPassword);
  elsewhere.remote_address = "192.0.2.2";
  EXPECT_EQ(Outcome(elsewhere), SHARING_VISIT_LOGGED_IN);
}

TEST(Visit, GuessedHashes_BlockTheAddress) {
  Store(Link("open"));
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(Outcome(Request("GET", "dead")), SHARING_VISIT_MISSING);
  }
  EXPECT_EQ(Outcome(Request("GET", "open")), SHARING_VISIT_CONTENT);
  for (int i = 1; i < 10; ++i) {
    EXPECT_EQ(Outcome(Request("GET", "guess" + std::to_string(i))),
              SHARING_VISIT_MISSING);
  }

  EXPECT_EQ(Outcome(Request("GET", "open")), SHARING_VISIT_BLOCKED);
}

TEST(Visit, GuessedHashesInOneNetworkOfIPv6_BlockTheNetwork) {
  VisitRequest request = Request("GET");
  for (int i = 0; i < 10; ++i) {
    request.remote_address = "2001:db8:1:2::" + std::to_string(i);
    request.hash = "guess" + std::to_string(i);
    EXPECT_EQ(Outcome(request), SHARING_VISIT_MISSING);
  }

  const Answer blocked = InChild(
      System(), [&request] { return std::to_string(Visit(request).retry_after > 3500); });
  EXPECT_EQ(blocked.text, "1");
}

TEST(Visit, TwentyVisitorsAtOnce_ALimitOfThreeAdmitsThree) {
  Store(LimitedLink(3));

  const long admitted = AtOnce(20, [](int i) {
    VisitRequest request = Request("POST");
    request.remote_address = "192.0.2." + std::to_string(i + 1);
    return Visit(request).outcome == SHARING_VISIT_LOGGED_IN;
  });

  EXPECT_EQ(admitted, 3);
  EXPECT_EQ(SqlValue(kDatabase, "SELECT use_count FROM entry"), "3");
  EXPECT_EQ(Outcome(Request("GET")), SHARING_VISIT_USED_UP);
}

TEST(Visit, FortyGuessesAtOnce_ThirtyAreMade) {
  Store(PasswordLink());

  const long made = AtOnce(40, [](int i) {
    VisitRequest request = Login("guess");
    request.remote_address = "192.0.2." + std::to_string(i + 1);
    const VisitAnswer answer = Visit(request);
    if (answer.outcome == SHARING_VISIT_BLOCKED) return false;
    return answer.problem == SHARING_VISIT_PASSWORD_WRONG;
  });

  EXPECT_EQ(made, 30);
  VisitRequest right = Login(kPassword);
  right.remote_address = "198.51.100.1";
  EXPECT_EQ(Outcome(right), SHARING_VISIT_BLOCKED);
  SqlValue(kAttempts, "UPDATE attempt SET at = at - 300");
  EXPECT_EQ(Outcome(right), SHARING_VISIT_LOGGED_IN);
}

TEST(Visit, TwentyGuessersAtOnce_HaveThirtyGuesses) {
  Store(PasswordLink());
  int made[2];
  ASSERT_EQ(pipe2(made, O_CLOEXEC), 0);

  const long blocked = AtOnce(20, [&made](int i) {
    VisitRequest request = Login("guess");
    request.remote_address = "192.0.2." + std::to_string(i + 1);
    for (;;) {
      const VisitAnswer answer = Visit(request);
      if (answer.outcome == SHARING_VISIT_BLOCKED) return true;
      if (answer.problem == SHARING_VISIT_PASSWORD_WRONG && write(made[1], "x", 1) != 1) {
        return false;
      }
    }
  });

  EXPECT_EQ(blocked, 20);
  char guesses[100];
  EXPECT_EQ(read(made[0], guesses, sizeof(guesses)), 30);
}

/// A process that writes to the database, so that no login ends.
class Writer {
 public:
  Writer() {
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) == -1 || pipe2(end_, O_CLOEXEC) == -1) abort();
    process_ = fakes::StartChild([&] {
      BaseDB database(kDatabase, 0660);
      char byte = 0;
      return database.Execute("BEGIN IMMEDIATE") && write(ready[1], "x", 1) == 1 &&
             read(end_[0], &byte, 1) == 1 && database.Execute("COMMIT");
    });
    char byte = 0;
    EXPECT_EQ(read(ready[0], &byte, 1), 1);
  }

  bool End() { return write(end_[1], "x", 1) == 1 && fakes::EndsWell(process_); }

 private:
  int end_[2];
  pid_t process_;
};

/// Starts logins with the right password, and waits until each has begun.
std::vector<pid_t> StartLogins(int count) {
  std::vector<pid_t> logins;
  logins.reserve(count);
  for (int i = 0; i < count; ++i) {
    logins.push_back(fakes::StartChild(
        [] { return Visit(Login(kPassword)).outcome == SHARING_VISIT_LOGGED_IN; }));
  }
  const std::string all = std::to_string(count);
  for (int i = 0; i < 500 && SqlValue(kAttempts, "SELECT COUNT(*) FROM attempt") != all;
       ++i) {
    usleep(10000);
  }
  EXPECT_EQ(SqlValue(kAttempts, "SELECT COUNT(*) FROM attempt"), all);
  return logins;
}

bool IsToldToTryInSeconds(const VisitAnswer& answer) {
  return answer.outcome == SHARING_VISIT_TRY_LATER && answer.retry_after <= 10;
}

TEST(Visit, FortyRightPasswordsAtOnce_AreAdmittedOrToldToTryInSeconds) {
  Store(PasswordLink());
  Writer writer;
  const std::vector<pid_t> logins = StartLogins(30);

  EXPECT_EQ(AtOnce(10, [](int) { return IsToldToTryInSeconds(Visit(Login(kPassword))); }),
            10);

  EXPECT_TRUE(writer.End());
  EXPECT_EQ(std::count_if(logins.begin(), logins.end(), fakes::EndsWell), 30);
  EXPECT_EQ(Outcome(Login(kPassword)), SHARING_VISIT_LOGGED_IN);
}

TEST(Visit, ThirtyLoginsAreKilled_TheNextIsAdmittedAfterHalfAMinute) {
  Store(PasswordLink());
  Writer writer;
  for (const pid_t login : StartLogins(30)) {
    ASSERT_EQ(kill(login, SIGKILL), 0);
    EXPECT_FALSE(fakes::EndsWell(login));
  }
  EXPECT_TRUE(writer.End());

  EXPECT_EQ(AtOnce(1, [](int) { return IsToldToTryInSeconds(Visit(Login(kPassword))); }),
            1);
  SqlValue(kAttempts, "UPDATE attempt SET at = at - 30");
  EXPECT_EQ(Outcome(Login(kPassword)), SHARING_VISIT_LOGGED_IN);
}

TEST(Visit, ProcessIsToldToEnd_TheLoginIsFinishedFirst) {
  Store(PasswordLink());
  Writer writer;
  const pid_t login = StartLogins(1).front();
  ASSERT_EQ(kill(login, SIGTERM), 0);
  EXPECT_TRUE(writer.End());

  EXPECT_FALSE(fakes::EndsWell(login));
  EXPECT_EQ(SqlValue(kAttempts, "SELECT COUNT(*) FROM attempt"), "0");
  EXPECT_EQ(SqlValue(kDatabase, "SELECT COUNT(*) FROM session"), "1");
}

TEST(Visit, LinkOfAnotherApplication_IsMissing) {
  Entry link = PasswordLink();
  link.set_project_name("text");
  Store(link);

  EXPECT_EQ(Outcome(Request("GET")), SHARING_VISIT_MISSING);
  EXPECT_EQ(Outcome(Login(kPassword)), SHARING_VISIT_MISSING);
}

TEST(Visit, EnvironmentAndInputOfTheProcess_AreNotThoseOfTheRequest) {
  Entry link = Link("link");
  link.set_protect_type(Entry::PROTECT_USER);
  link.set_protect_users({"alice"});
  Store(link);
  const Answer answer = InChild(system_test::SystemWithShadow(), [] {
    const std::string form = "_sid=foreign";
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) == -1 || dup2(ends[0], STDIN_FILENO) == -1 ||
        write(ends[1], form.data(), form.size()) == -1) {
      abort();
    }
    close(ends[1]);
    setenv("REMOTE_ADDR", "198.51.100.1", 1);
    setenv("CONTENT_TYPE", "application/x-www-form-urlencoded", 1);
    setenv("CONTENT_LENGTH", "12", 1);
    setenv("QUERY_STRING", "_sid=a%0Ab", 1);  // a login with this fails
    VisitRequest request = Login("alice-secret");
    request.username = "alice";

    const int outcome = Visit(request).outcome;

    std::string input(100, '\0');
    input.resize(std::max<ssize_t>(read(STDIN_FILENO, input.data(), input.size()), 0));
    return std::to_string(outcome) + " " + input + " " + getenv("REMOTE_ADDR") + " " +
           getenv("QUERY_STRING");
  });

  EXPECT_EQ(answer.text, "2 _sid=foreign 198.51.100.1 _sid=a%0Ab");
  EXPECT_EQ(SqlValue(kDatabase, "SELECT ip FROM session"), "192.0.2.1");
}

TEST(Visit, OneRequestAfterAnother_NothingIsKept) {
  Store(PasswordLink());

  const Answer answer = InChild(System(), [] {
    const std::string session = SessionOf(Visit(Login(kPassword)).set_cookie);
    VisitRequest other = Request("GET");
    other.remote_address = "192.0.2.2";
    std::string outcomes = std::to_string(Visit(other).outcome);
    other.session_id = session;  // the link is for one address
    outcomes += " " + std::to_string(Visit(other).outcome);
    VisitRequest same = Request("GET");
    same.session_id = session;
    return outcomes + " " + std::to_string(Visit(same).outcome);
  });

  EXPECT_EQ(answer.text, "4 4 1");
}

TEST(Visit, ForwardingHeader_CountsForTrustedProxiesOnly) {
  Store(PasswordLink());
  VisitRequest request = Login(kPassword);
  request.forwarded_for = "203.0.113.9";
  EXPECT_EQ(Outcome(request), SHARING_VISIT_LOGGED_IN);
  EXPECT_EQ(SqlValue(kDatabase, "SELECT ip FROM session"), "192.0.2.1");
  system_test::WriteFile("/usr/vexo/etc/platform.conf", "trusted_proxies = 192.0.2.1\n");
  SqlValue(kDatabase, "DELETE FROM session");

  EXPECT_EQ(Outcome(request), SHARING_VISIT_LOGGED_IN);
  EXPECT_EQ(SqlValue(kDatabase, "SELECT ip FROM session"), "203.0.113.9");
}

/// What goes on, and what does not, while guesses cannot be counted.
void ExpectNoFreeGuess() {
  Store(PasswordLink());
  Store(Link("open"));
  const Answer guess = Ask(Login("guess"));
  EXPECT_EQ(guess.text.substr(0, 7), "10 0 0 ");
  EXPECT_THAT(guess.log, ElementsAre(HasSubstr("guesses cannot be counted")));
  EXPECT_EQ(Outcome(Login(kPassword)), SHARING_VISIT_TRY_LATER);
  EXPECT_EQ(Outcome(Request("GET")), SHARING_VISIT_LOGIN);
  EXPECT_EQ(Outcome(Request("GET", "open")), SHARING_VISIT_CONTENT);
}

TEST(Visit, FolderCannotBeWritten_NoGuessIsFree) {
  ASSERT_EQ(chown(kFolder, 0, 0), 0);

  ExpectNoFreeGuess();
}

TEST(Visit, FileSystemIsFull_NoGuessIsFree) {
  ASSERT_EQ(mount("tmpfs", kFolder, "tmpfs", 0, "size=16k,mode=0750,uid=1,gid=1"), 0);
  system_test::WriteFile(std::string(kFolder) + "/large", std::string(12 * 1024, 'x'));

  ExpectNoFreeGuess();
}

TEST(Visit, FileSystemIsReadOnly_NoGuessIsFree) {
  ASSERT_EQ(mount("tmpfs", kFolder, "tmpfs", MS_RDONLY, "mode=0750,uid=1,gid=1"), 0);

  ExpectNoFreeGuess();
}

TEST(Visit, BlocksCannotBeRead_OpenLinksGoOn) {
  Store(PasswordLink());
  Store(Link("open"));
  ASSERT_EQ(chown("/usr/vexo/etc/private/autoblock", 0, 0), 0);

  EXPECT_EQ(Outcome(Request("GET", "open")), SHARING_VISIT_CONTENT);
  EXPECT_EQ(Outcome(Login(kPassword)), SHARING_VISIT_TRY_LATER);
  EXPECT_EQ(Outcome(Request("GET", "unknown")), SHARING_VISIT_TRY_LATER);
}

TEST(Visit, DatabaseThatCannotBeOpened_IsNotAnsweredAsAbsent) {
  system_test::WriteFile(kDatabase, "not a database, and longer than a header is");

  EXPECT_EQ(Outcome(Request("GET")), SHARING_VISIT_TRY_LATER);
}

struct FreeAnswer {
  void operator()(VexoSharingVisitAnswer* answer) const { VexoSharingVisitFree(answer); }
};
using AnswerOwner = std::unique_ptr<VexoSharingVisitAnswer, FreeAnswer>;

std::string Text(const char* text) { return text == nullptr ? "null" : text; }

VexoSharingVisitRequest CRequest(const char* method) {
  VexoSharingVisitRequest request = {};
  request.project = "photos";
  request.hash = "link";
  request.method = method;
  request.remote_address = "192.0.2.1";
  request.cookie_name = "photos";
  request.cookie_path = "/photos/link";
  return request;
}

TEST(VisitC, Answer_ItsPartsCanBeRead) {
  Entry link = PasswordLink();
  link.set_protect_title("Für Gäste");
  Json::Value app;
  app["album"] = 7;
  link.set_app(app);
  Store(link);

  const Answer answer = InChild(System(), [] {
    VexoSharingVisitRequest request = CRequest("GET");
    const AnswerOwner form(VexoSharingVisit(&request));
    std::string seen = std::to_string(VexoSharingVisitGetOutcome(form.get())) + " " +
                       std::to_string(VexoSharingVisitGetProtection(form.get())) + " " +
                       Text(VexoSharingVisitGetTitle(form.get())) + " " +
                       Text(VexoSharingVisitGetApp(form.get())) + " [" +
                       Text(VexoSharingVisitGetCookie(form.get())) + "]\n";
    request.method = "POST";
    request.password = "guess";
    const AnswerOwner wrong(VexoSharingVisit(&request));
    seen += std::to_string(VexoSharingVisitGetProblem(wrong.get())) + " " +
            std::to_string(VexoSharingVisitGetResult(wrong.get())) + "\n";
    request.password = kPassword;
    request.https = 1;
    const AnswerOwner login(VexoSharingVisit(&request));
    const std::string cookie = Text(VexoSharingVisitGetCookie(login.get()));
    seen += cookie.substr(cookie.find(';')) + "\n";
    request.method = "GET";
    const std::string session = SessionOf(cookie);
    request.session_id = session.c_str();
    const AnswerOwner content(VexoSharingVisit(&request));
    seen += std::to_string(VexoSharingVisitGetOutcome(content.get())) + " " +
            std::to_string(VexoSharingVisitHasSession(content.get())) + " " +
            Text(VexoSharingVisitGetApp(content.get())) + "\n";
    request.hash = "unknown";
    const AnswerOwner missing(VexoSharingVisit(&request));
    return seen + std::to_string(VexoSharingVisitGetOutcome(missing.get())) + " " +
           std::to_string(VexoSharingVisitGetProtection(missing.get())) + " " +
           Text(VexoSharingVisitGetTitle(missing.get())) + " " +
           std::to_string(VexoSharingVisitGetRetryAfter(missing.get()));
  });

  EXPECT_EQ(answer.text,
            "4 1 Für Gäste null []\n"
            "3 -9\n"
            "; Path=/photos/link; HttpOnly; SameSite=Lax; Secure\n"
            "1 1 {\"album\":7}\n"
            "7 -1 null 0");
}

TEST(VisitC, NullTexts_AreEmptyOnes) {
  const VexoSharingVisitRequest nothing = {};
  const AnswerOwner answer(VexoSharingVisit(&nothing));

  EXPECT_EQ(VexoSharingVisitGetOutcome(answer.get()), SHARING_VISIT_BAD_METHOD);
}

TEST(VisitC, NullRequestAndAnswer_AreAllowed) {
  EXPECT_EQ(VexoSharingVisit(nullptr), nullptr);
  EXPECT_EQ(VexoSharingVisitGetOutcome(nullptr), SHARING_VISIT_TRY_LATER);
  EXPECT_EQ(VexoSharingVisitGetProblem(nullptr), SHARING_VISIT_NO_PROBLEM);
  EXPECT_EQ(VexoSharingVisitGetResult(nullptr), 0);
  EXPECT_EQ(VexoSharingVisitHasSession(nullptr), 0);
  EXPECT_EQ(VexoSharingVisitGetCookie(nullptr), nullptr);
  EXPECT_EQ(VexoSharingVisitGetRetryAfter(nullptr), 0);
  EXPECT_EQ(VexoSharingVisitGetProtection(nullptr), -1);
  EXPECT_EQ(VexoSharingVisitGetTitle(nullptr), nullptr);
  EXPECT_EQ(VexoSharingVisitGetApp(nullptr), nullptr);
  VexoSharingVisitFree(nullptr);
}

}  // namespace
