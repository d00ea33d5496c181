// Sixteen processes that make links, log visitors in, check them and log them out, all at
// once.  Every answer must be the right one, and afterwards the database must hold
// exactly what was reported stored.
//
//   soak [SECONDS]
//
// Run it by scripts/private-namespace: it works on the fixed paths.

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "child_process.h"
#include "entry_db.h"
#include "log_capture.h"
#include "sharing_db.h"
#include "sharinglogin.h"
#include "system_test.h"

using Clock = std::chrono::steady_clock;
using std::chrono::duration_cast;
using std::chrono::microseconds;
using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::SharingDB;
using VEXO::sharing::record::Entry;

namespace {

constexpr int kProcesses = 16;
constexpr int kVisitorsPerLink = 4;

std::string ReportPath(int process) { return "/tmp/report-" + std::to_string(process); }

/// One process at work: writes what it stored into its report, a line for each link:
/// "LINK hash uses", and for each session: "SESSION id tokens"; then "ROUNDS n" and "WAIT
/// microseconds", the longest of its operations.
class Worker {
 public:
  Worker(int number, Clock::time_point end)
      : number_(number), end_(end), report_(ReportPath(number)) {}

  bool Run() {
    setenv("REMOTE_ADDR", ("192.0.2." + std::to_string(number_ + 1)).c_str(), 1);
    int rounds = 0;
    while (Clock::now() < end_) {
      if (!Round()) {
        Complain();
        return false;
      }
      ++rounds;
    }
    report_ << "ROUNDS " << rounds << "\nWAIT " << longest_.count() << "\n";
    Complain();
    return log_.lines().empty() && report_.flush().good();
  }

 private:
  /// A link, its visitors, and the logout of every other one.
  bool Round() {
    Entry link = system_test::Link("");
    if (!Timed("make a link", [&] {
          return EntryDB(SharingDB::Instance()).CreateWithHash(link) ? 1 : 0;
        })) {
      return false;
    }
    const std::string hash = link.get_hash();
    for (int visitor = 0; visitor < kVisitorsPerLink; ++visitor) {
      if (!Visit(hash, visitor % 2 == 0)) return false;
    }
    report_ << "LINK " << hash << " " << kVisitorsPerLink << "\n";
    return true;
  }

  bool Visit(const std::string& hash, bool stays) {
    std::string session;
    _tag_sharing_login_params params = {};
    params.hash = hash.c_str();
    if (!Timed("log in",
               [&] { return VEXO::VexoSharingLogin(session, &params, false); })) {
      return false;
    }
    params.session_id = session.c_str();
    const auto check = [&] { return VEXO::VexoSharingIsAuthorized(&params); };
    if (!Timed("check", check) || !Timed("check again", check)) return false;
    if (!stays && !Timed("log out", [&] {
          return VEXO::VexoSharingLogout(hash, session) ? 1 : 0;
        })) {
      return false;
    }
    report_ << "SESSION " << session << " " << (stays ? 1 : 0) << "\n";
    return true;
  }

  /// Whether the operation answered 1, and how long it took.
  bool Timed(const char* what, const std::function<int()>& operation) {
    const Clock::time_point before = Clock::now();
    const int code = operation();
    longest_ = std::max(longest_, duration_cast<microseconds>(Clock::now() - before));
    if (code == 1) return true;
    fprintf(stderr, "process %d: %s answered %d: %s\n", number_, what, code,
            SharingDB::Instance().GetLastError().c_str());
    return false;
  }

  void Complain() const {
    for (const std::string& line : log_.lines()) {
      fprintf(stderr, "process %d logged: %s", number_, line.c_str());
    }
  }

  const int number_;
  const Clock::time_point end_;
  std::ofstream report_;
  fakes::LogCapture log_;
  microseconds longest_{0};
};

/// Sum of all reports, compared with what stands in the database.
class Summary {
 public:
  bool Read(int process) {
    std::ifstream report(ReportPath(process));
    std::string kind;
    while (report >> kind) {
      std::string name;
      long number = 0;
      if (kind == "LINK" && report >> name >> number) {
        Expect("SELECT use_count FROM entry WHERE hash = '" + name + "'", number);
        ++links_;
      } else if (kind == "SESSION" && report >> name >> number) {
        Expect("SELECT count(*) FROM session WHERE session_id = '" + name + "'", 1);
        Expect(
            "SELECT count(*) FROM token WHERE session_id = (SELECT id FROM session "
            "WHERE session_id = '" +
                name + "')",
            number);
        ++sessions_;
        tokens_ += number;
      } else if (kind == "ROUNDS" && report >> number) {
        rounds_ += number;
        ++reports_;
      } else if (kind == "WAIT" && report >> number) {
        longest_ = std::max(longest_, number);
      } else {
        return false;
      }
    }
    return true;
  }

  bool Good() {
    Expect("SELECT count(*) FROM entry", links_);
    Expect("SELECT count(*) FROM session", sessions_);
    Expect("SELECT count(*) FROM token", tokens_);
    const std::string integrity =
        system_test::SqlValue(system_test::kDatabase, "PRAGMA integrity_check");
    printf(
        "%ld rounds of %d processes: %ld links, %ld sessions, %ld tokens; integrity %s\n",
        rounds_, reports_, links_, sessions_, tokens_, integrity.c_str());
    printf("longest wait of an operation: %ld ms\n", longest_ / 1000);
    return faults_ == 0 && reports_ == kProcesses && rounds_ > 0 && integrity == "ok";
  }

 private:
  void Expect(const std::string& sql, long value) {
    const std::string found = system_test::SqlValue(system_test::kDatabase, sql);
    if (found == std::to_string(value)) return;
    fprintf(stderr, "%s: %s instead of %ld\n", sql.c_str(), found.c_str(), value);
    ++faults_;
  }

  long rounds_ = 0;
  long links_ = 0;
  long sessions_ = 0;
  long tokens_ = 0;
  long longest_ = 0;
  int reports_ = 0;
  int faults_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  const int seconds = argc > 1 ? atoi(argv[1]) : 5;
  const Clock::time_point end = Clock::now() + std::chrono::seconds(seconds);
  std::vector<pid_t> workers;
  for (int i = 0; i < kProcesses; ++i) {
    workers.push_back(fakes::StartChild([&] { return Worker(i, end).Run(); }));
  }
  int faults = 0;
  for (const pid_t worker : workers) faults += fakes::EndsWell(worker) ? 0 : 1;

  Summary summary;
  for (int i = 0; i < kProcesses; ++i) faults += summary.Read(i) ? 0 : 1;
  return summary.Good() && faults == 0 ? 0 : 1;
}
