#include "visit/attempt_store.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "base/number.h"
#include "base/system_account.h"
#include "base/unique_fd.h"
#include "visit/digest.h"
#include "visit/shared_file.h"

namespace VEXO::sharing {
namespace {

constexpr long kWindow = 5L * 60;        // seconds
constexpr long kPendingWindow = 30;      // seconds; a login takes less
constexpr int kLockTimeout = 10 * 1000;  // milliseconds
constexpr int kMaxTries = 3;

// To lose counts in a power failure is cheaper than to wait for the disk at every login.
const char* const kBegin =
    "PRAGMA synchronous = OFF;"
    "BEGIN IMMEDIATE;"
    "CREATE TABLE IF NOT EXISTS attempt("
    "id INTEGER PRIMARY KEY, subject TEXT NOT NULL, at INTEGER NOT NULL, "
    "failed INTEGER NOT NULL);"
    "CREATE INDEX IF NOT EXISTS attempt_subject ON attempt(subject, at);"
    "CREATE INDEX IF NOT EXISTS attempt_at ON attempt(at)";

using Row = std::vector<std::string>;

class Connection {
 public:
  explicit Connection(const std::string& path) {
    sqlite3* opened = nullptr;
    code_ = sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr);
    connection_.reset(opened);
    sqlite3_busy_timeout(opened, kLockTimeout);
  }

  /// Runs statements, none after a failure.
  ///
  /// @param[out] row  the last row that was read; a value that is NULL is empty
  bool Run(const std::string& sql, Row* row = nullptr) {
    if (code_ == SQLITE_OK) {
      code_ = sqlite3_exec(connection_.get(), sql.c_str(),
                           row == nullptr ? nullptr : KeepRow, row, nullptr);
    }
    return code_ == SQLITE_OK;
  }

  long LastId() const { return sqlite3_last_insert_rowid(connection_.get()); }
  bool IsDamaged() const { return code_ == SQLITE_CORRUPT || code_ == SQLITE_NOTADB; }
  const char* Reason() const { return sqlite3_errmsg(connection_.get()); }

 private:
  struct Close {
    void operator()(sqlite3* connection) const { sqlite3_close(connection); }
  };

  static int KeepRow(void* row, int count, char** values, char** /*names*/) {
    auto& kept = *static_cast<Row*>(row);
    kept.clear();
    for (int i = 0; i < count; ++i) {
      kept.emplace_back(values[i] == nullptr ? "" : values[i]);
    }
    return 0;
  }

  std::unique_ptr<sqlite3, Close> connection_;
  int code_;
};

std::string PathIn(const std::string& folder) { return folder + "/visit.db"; }

bool Fail(const std::string& path, const char* reason) {
  static bool logged = false;
  if (!logged) {
    syslog(LOG_ERR, "%s: %s; guesses cannot be counted", path.c_str(), reason);
  }
  logged = true;
  return false;
}

/// Deletes a damaged database, unless another process has replaced it.
void DeleteDamaged(const std::string& folder) {
  const base::UniqueFd lock(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!lock || flock(lock.get(), LOCK_EX) == -1) return;
  const std::string path = PathIn(folder);
  Row answer;
  if (Connection(path).Run("PRAGMA quick_check(1)", &answer) && answer == Row{"ok"}) {
    return;
  }
  // The journal first: SQLite would apply it to the new database.
  unlink((path + "-journal").c_str());
  unlink(path.c_str());
  syslog(LOG_ERR, "%s: damaged, deleted; guesses are counted from zero", path.c_str());
}

/// Runs `work` on the database; again on a new one when it is damaged.
template <class Work>
bool OnDatabase(const std::string& folder, Work work) {
  const std::string path = PathIn(folder);
  for (int tries = 1;; ++tries) {
    if (!EnsureSharedFile(folder, path)) return Fail(path, strerror(errno));
    const base::AsSystemAccount system;
    if (!system.good()) return Fail(path, strerror(errno));
    Connection database(path);
    if (work(database)) return true;
    if (!database.IsDamaged() || tries == kMaxTries) return Fail(path, database.Reason());
    DeleteDamaged(folder);
  }
}

long Number(const std::string& text) {
  return base::ParseNumber<long>(text, 0, LONG_MAX).value_or(0);
}

/// @param key  of the subject; digits only, so that it can be part of the SQL
bool CountAttempt(Connection& database, const std::string& key, int limit, bool failed,
                  AttemptStore::Attempt& attempt) {
  if (!database.Run(kBegin)) return false;
  const long now = time(nullptr);  // under the lock: it only grows
  const std::string now_text = std::to_string(now);
  const std::string begin = std::to_string(now - kWindow);
  // Later times were stored before the clock was set back: these attempts begin again.
  // A few expired rows at a time: more than an attempt adds.
  Row found;
  if (!database.Run("UPDATE attempt SET at = " + now_text + " WHERE at > " + now_text) ||
      !database.Run("DELETE FROM attempt WHERE id IN "
                    "(SELECT id FROM attempt WHERE at <= " +
                    begin + " LIMIT 4)") ||
      !database.Run("SELECT COUNT(*), SUM(failed), MIN(CASE WHEN failed THEN at END) "
                    "FROM attempt WHERE subject = '" +
                        key + "' AND at > " + begin + " AND (failed OR at > " +
                        std::to_string(now - kPendingWindow) + ")",
                    &found)) {
    return false;
  }
  if (Number(found[1]) >= limit) {
    attempt.result = AttemptStore::Result::kLimitReached;
    attempt.seconds_left = Number(found[2]) + kWindow - now;
    return database.Run("COMMIT");
  }
  if (Number(found[0]) >= limit) {
    attempt.result = AttemptStore::Result::kBusy;
    return database.Run("COMMIT");
  }
  if (!database.Run("INSERT INTO attempt(subject, at, failed) VALUES('" + key + "', " +
                    now_text + (failed ? ", 1" : ", 0") + ");COMMIT")) {
    return false;
  }
  attempt.result = AttemptStore::Result::kAdded;
  attempt.id = database.LastId();
  return true;
}

}  // namespace

AttemptStore::AttemptStore(std::string folder) : folder_(std::move(folder)) {}

AttemptStore::Attempt AttemptStore::Begin(const std::string& subject, int limit) {
  return Count(subject, limit, false);
}

AttemptStore::Attempt AttemptStore::Add(const std::string& subject, int limit) {
  return Count(subject, limit, true);
}

void AttemptStore::MarkFailed(long id) {
  Run("UPDATE attempt SET failed = 1 WHERE id = " + std::to_string(id));
}

void AttemptStore::Remove(long id) {
  Run("DELETE FROM attempt WHERE id = " + std::to_string(id));
}

AttemptStore::Attempt AttemptStore::Count(const std::string& subject, int limit,
                                          bool failed) {
  const std::optional<std::string> key = Digest(subject);
  if (!key) return Attempt();
  Attempt attempt;
  const bool done = OnDatabase(folder_, [&](Connection& database) {
    return CountAttempt(database, *key, limit, failed, attempt);
  });
  return done ? attempt : Attempt();
}

void AttemptStore::Run(const std::string& sql) {
  OnDatabase(folder_, [&sql](Connection& database) { return database.Run(sql); });
}

}  // namespace VEXO::sharing
