// The same kind of load on SQLite alone, without the library: sixteen processes that
// commit and run checkpoints.  It demonstrates the bug that the provider's lock avoids
// (https://www.sqlite.org/wal.html#walresetbug).  Not a test: it exits with 0 whatever it
// finds.
//
//   plain_sqlite_storm [SECONDS] [BUSY] [FOLDER]
//
// FOLDER must be empty.  By default it is in memory, where commits are shortest and the
// bug appears soonest.  Run it as root, so that the BUSY processes (by default one per
// core) have a higher priority than the others.

#include <signal.h>
#include <sqlite3.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "disturb.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kProcesses = 16;
constexpr int kCheckpoints = 20;            // after each commit
constexpr int kBusyTimeout = 10000;         // milliseconds
constexpr long kIdsOfAProcess = 100000000;  // so that no two processes share one

const char kSchema[] =
    "PRAGMA journal_mode = WAL;"
    "CREATE TABLE IF NOT EXISTS item (id INTEGER PRIMARY KEY, name TEXT UNIQUE)";

std::string NotePath(const std::string& folder, int process) {
  return folder + "/committed-" + std::to_string(process);
}

sqlite3* Open(const std::string& folder) {
  sqlite3* connection = nullptr;
  const std::string path = folder + "/plain.db";
  if (sqlite3_open(path.c_str(), &connection) != SQLITE_OK) {
    fprintf(stderr, "%s: %s\n", path.c_str(), sqlite3_errmsg(connection));
    exit(1);
  }
  sqlite3_busy_timeout(connection, kBusyTimeout);
  sqlite3_exec(connection, "PRAGMA synchronous = NORMAL", nullptr, nullptr, nullptr);
  return connection;
}

/// Commits rows until the end, with checkpoints after each, and notes what was committed.
void Work(const std::string& folder, int process, Clock::time_point end) {
  sqlite3* const connection = Open(folder);
  std::ofstream note(NotePath(folder, process));
  std::map<std::string, long> failures;
  for (long id = process * kIdsOfAProcess; Clock::now() < end; ++id) {
    const std::string number = std::to_string(id);
    const std::string sql = "INSERT INTO item VALUES (" + number + ", 'name " +
                            std::to_string(id % 9973) + " " + number + "')";
    if (sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK) {
      note << id << "\n";
    } else {
      ++failures[sqlite3_errmsg(connection)];
    }
    for (int i = 0; i < kCheckpoints; ++i) {
      sqlite3_exec(connection, "PRAGMA wal_checkpoint", nullptr, nullptr, nullptr);
    }
  }
  for (const auto& [error, count] : failures) {
    printf("process %d: %ld commits failed: %s\n", process, count, error.c_str());
  }
  fflush(nullptr);
  note.close();
  sqlite3_close(connection);
}

int PrintIntegrity(void* /*context*/, int /*columns*/, char** values, char** /*names*/) {
  printf("integrity_check: %s\n", values[0]);
  return 0;
}

int AddId(void* ids, int /*columns*/, char** values, char** /*names*/) {
  static_cast<std::set<std::string>*>(ids)->insert(values[0]);
  return 0;
}

void Report(const std::string& folder) {
  sqlite3* const connection = Open(folder);
  std::set<std::string> found;
  const bool read = sqlite3_exec(connection, "SELECT id FROM item NOT INDEXED", AddId,
                                 &found, nullptr) == SQLITE_OK;
  if (!read) printf("cannot read the whole table: %s\n", sqlite3_errmsg(connection));
  long committed = 0;
  long gone = 0;
  for (int process = 0; process < kProcesses; ++process) {
    std::ifstream note(NotePath(folder, process));
    for (std::string id; std::getline(note, id); ++committed) {
      if (found.count(id) == 0) ++gone;
    }
  }
  printf("SQLite %s: %ld rows committed, %ld missing\n", sqlite3_libversion(), committed,
         gone);
  if (sqlite3_exec(connection, "PRAGMA integrity_check(5)", PrintIntegrity, nullptr,
                   nullptr) != SQLITE_OK) {
    printf("integrity_check: %s\n", sqlite3_errmsg(connection));
  }
  sqlite3_close(connection);
}

}  // namespace

int main(int argc, char** argv) {
  const int seconds = argc > 1 ? atoi(argv[1]) : 20;
  const int cores = storm::Cores();
  const int busy = argc > 2 ? atoi(argv[2]) : cores;
  char made[] = "/dev/shm/plain-sqlite-XXXXXX";
  const char* const folder = argc > 3 ? argv[3] : mkdtemp(made);
  if (folder == nullptr) {
    perror("mkdtemp");
    return 1;
  }
  printf("in %s, %d s, %d busy processes\n", folder, seconds, busy);
  sqlite3* const first = Open(folder);
  sqlite3_exec(first, kSchema, nullptr, nullptr, nullptr);
  sqlite3_close(first);
  fflush(nullptr);

  std::vector<pid_t> disturbers;
  for (int i = 0; i < busy; ++i) {
    disturbers.push_back(fork());
    if (disturbers.back() == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      storm::Disturb(i % cores);
    }
  }
  const Clock::time_point end = Clock::now() + std::chrono::seconds(seconds);
  std::vector<pid_t> workers;
  for (int process = 0; process < kProcesses; ++process) {
    workers.push_back(fork());
    if (workers.back() == 0) {
      Work(folder, process, end);
      _exit(0);
    }
  }
  for (const pid_t worker : workers) waitpid(worker, nullptr, 0);
  for (const pid_t disturber : disturbers) {
    kill(disturber, SIGKILL);
    waitpid(disturber, nullptr, 0);
  }
  Report(folder);
  if (argc <= 3) std::filesystem::remove_all(folder);
  return 0;
}
