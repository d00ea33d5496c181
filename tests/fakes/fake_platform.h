#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <initializer_list>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace fakes {

struct User {
  unsigned int uid;
  std::vector<std::string> groups;
  /// The one that the appliance login accepts; empty: it accepts none.
  std::string password;
};

struct File {
  unsigned int uid;
  unsigned int gid;
  unsigned int mode;
};

/// A program that can be started: what it prints, and its wait status.
struct Tool {
  std::string output;
  int status = 0;
};

struct StartedTool {
  std::string program;
  std::string mode;
  std::vector<std::string> arguments;
};

/// What VexoCgiLogin was asked, and the cookies set in its context.
struct LoginRequest {
  std::string username;
  std::string password;
  std::string application;
  int reserved1;
  int reserved2;
  std::map<std::string, std::string> cookies;
};

struct Ids {
  unsigned int uid;
  unsigned int euid;
  unsigned int gid;
  unsigned int egid;
};

using Rows = std::vector<std::vector<std::string>>;

/// The platform, the ids of the process and the account database in memory, for one test
/// at a time.  Make it the first member of a fixture.  A new object has no state of an
/// earlier test.  It fails a test that does not release an object of the platform,
/// releases it twice, or uses it against its contract; connections may stay open.
class Platform {
 public:
  Platform();
  ~Platform();
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;

  // Calls made so far, in order, as text such as `setresuid(-1, 1, -1)`.  geteuid,
  // getegid and getuid are not among them.

  const std::vector<std::string>& calls() const { return calls_; }
  /// The calls of the named functions.
  std::vector<std::string> calls(std::initializer_list<std::string> functions) const;
  /// The SQL texts.
  const std::vector<std::string>& statements() const { return statements_; }
  void ForgetCalls();

  // Failures.  A call that fails returns what its contract says and does nothing else,
  // except that a failing escape function has written part of the text.

  /// Fails the n-th call from now on (1: the next) of those that can fail.  Releasing,
  /// logging, reading of ids, and questions without a failure answer do not count.
  void FailCall(int n);
  /// Whether that call was reached.
  bool injected() const { return injected_; }
  /// Fails every call of the function, or only the next one.
  void Fail(const std::string& function) { failing_[function] = true; }
  void FailOnce(const std::string& function) { failing_[function] = false; }
  /// Fails every SQL text that contains `part`.
  void FailStatement(const std::string& part) { failing_statements_.insert(part); }
  /// Returns these rows for every SQL text that contains `part`, which is not run.
  void AnswerStatement(const std::string& part, const std::vector<std::string>& columns,
                       const Rows& rows);
  /// Called with each SQL text before it is run.
  std::function<void(const std::string& sql)> before_statement;

  /// Runs SQL in the database at `path`, which is created when it is missing, without
  /// recorded calls and failures.  Returns the rows of the last statement, with NULL as
  /// an empty text.
  Rows Sql(const std::string& sql,
           const std::string& path = "/usr/vexo/etc/private/session/sharing/sharing.db");

  /// Whether an empty database gets the schema when it is first opened, so that nothing
  /// is left to migrate.
  bool schema_applied = true;

  /// Files that exist.  VLIBCFileTouch creates one that belongs to the effective ids.
  std::map<std::string, File> files;
  std::map<std::string, Tool> tools;
  std::vector<StartedTool> started;

  Ids ids = {0, 0, 0, 0};
  /// Whether an effective user other than 0 may only take its real and saved ids.
  bool ids_enforced = false;
  /// What getpwuid and getgrgid know.
  std::map<unsigned int, std::string> passwd_names = {{0, "root"}, {1, "system"}};
  std::map<unsigned int, std::string> group_names = {{0, "root"}, {1, "system"}};

  std::map<std::string, User> users;
  std::map<std::string, unsigned int> groups;
  /// Canonical login names.  The name of a user converts to itself, other names do not
  /// convert.
  std::map<std::string, std::string> login_names;
  /// Answers of VEXOUserGet, by name, and of VEXOUserGetByUID and VEXOGroupGetByGID, by
  /// id, instead of 0 or -1.  A record goes with it when there is such a user or group.
  std::map<std::string, int> user_results;
  std::map<unsigned int, int> uid_results;
  std::map<unsigned int, int> gid_results;

  std::string remote_ip = "192.0.2.7";
  std::set<std::string> denied_ips;
  /// Until when an address is blocked, for VEXOAutoBlockList.
  std::map<std::string, long> blocked_until;
  std::map<std::string, std::string> request_params;
  std::vector<LoginRequest> logins;
  /// Failed logins recorded, as {service, number} by address.
  std::map<std::string, std::pair<std::string, int>> failed_logins;

  /// Next answers of random() and getString().  Without one random() answers its upper
  /// bound, and getString() a text of its own for each call.
  std::deque<int> random_numbers;
  std::deque<std::string> random_strings;

  // The rest is for the functions that replace those of the platform.

  void Record(const std::string& call) { calls_.push_back(call); }
  /// Records a call that can fail; true when it must fail.
  bool Refuse(const std::string& call);
  bool RefuseStatement(const std::string& sql);
  /// The scripted answer for the text, or null.
  const std::pair<std::vector<std::string>, Rows>* ScriptedAnswer(
      const std::string& sql) const;
  /// Records what must be released.
  void HandOut(const void* what, const char* kind) { handed_out_[what] = kind; }
  void TakeBack(const void* what, const char* kind);

  std::string UniqueString(const std::string& pool, std::size_t length);

 private:
  std::vector<std::string> calls_;
  std::vector<std::string> statements_;
  std::map<std::string, bool> failing_;  // true: every time
  std::set<std::string> failing_statements_;
  std::map<std::string, std::pair<std::vector<std::string>, Rows>> answers_;
  std::map<const void*, std::string> handed_out_;
  int calls_until_failure_ = 0;
  bool injected_ = false;
  unsigned int strings_made_ = 0;
};

}  // namespace fakes
