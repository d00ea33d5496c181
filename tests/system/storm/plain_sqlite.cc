// What SQLite alone does under this load, without a line of the library: sixteen
// processes that commit and checkpoint (https://www.sqlite.org/wal.html#walresetbug).
// Shows what the provider's lock is for.  It is a demonstration and no test: it ends with
// 0 whatever it finds.
//
//   plain_sqlite_storm [SECONDS] [BUSY] [FOLDER]
//
// The folder must be empty.  In memory, as by default, commits are the shortest and the
// loss comes soonest; run it as root, since BUSY processes (one a core) interrupt the
// others by their priority.

#include <sched.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
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
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kProcesses = 16;
constexpr int kCheckpoints = 3;             // after each commit
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

/// Takes a core from the others again and again, for about the time of a short commit: so
/// that they are interrupted anywhere, while those on the other cores get little done.
[[noreturn]] void Disturb(int core) {
  cpu_set_t cores;
  CPU_ZERO(&cores);
  CPU_SET(core, &cores);
  sched_setaffinity(0, sizeof cores, &cores);
  setpriority(PRIO_PROCESS, 0, -20);  // by root alone; without it the loss is rare
  prctl(PR_SET_TIMERSLACK, 1);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  std::mt19937 random(static_cast<unsigned int>(getpid()));
  std::uniform_int_distribution<long> work(30, 180);  // microseconds
  std::uniform_int_distribution<long> rest(0, 60);
  for (;;) {
    const auto until = Clock::now() + std::chrono::microseconds(work(random));
    while (Clock::now() < until) {
    }
    const timespec pause = {0, 1000 * rest(random)};
    nanosleep(&pause, nullptr);
  }
}

/// Prints the first column of each row.
int Print(void* /*context*/, int /*columns*/, char** values, char** /*names*/) {
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
  if (!read)
    printf("the table cannot be read to its end: %s\n", sqlite3_errmsg(connection));
  long committed = 0;
  long gone = 0;
  for (int process = 0; process < kProcesses; ++process) {
    std::ifstream note(NotePath(folder, process));
    for (std::string id; std::getline(note, id); ++committed) {
      if (found.count(id) == 0) ++gone;
    }
  }
  printf("SQLite %s: %ld rows committed, %ld of them are not found\n",
         sqlite3_libversion(), committed, gone);
  if (sqlite3_exec(connection, "PRAGMA integrity_check(5)", Print, nullptr, nullptr) !=
      SQLITE_OK) {
    printf("integrity_check: %s\n", sqlite3_errmsg(connection));
  }
  sqlite3_close(connection);
}

}  // namespace

int main(int argc, char** argv) {
  const int seconds = argc > 1 ? atoi(argv[1]) : 20;
  const int cores = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
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
    if (disturbers.back() == 0) Disturb(i % cores);
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
