#include "block_store.h"

#include <sqlite3.h>
#include <syslog.h>

#include <cerrno>
#include <ctime>

#include "configuration.h"

namespace VEXO::platform {
namespace {

// Failures of one address in one second share a row, so an address has at most as many
// rows as the window has seconds.  Rollback journal, not write-ahead log: then no further
// file has to be shared with the right owner.
const char* const kSchema =
    "CREATE TABLE IF NOT EXISTS failure("
    "address TEXT NOT NULL, at INTEGER NOT NULL, failures INTEGER NOT NULL, "
    "service TEXT NOT NULL, PRIMARY KEY(address, at)) WITHOUT ROWID;"
    "CREATE INDEX IF NOT EXISTS failure_at ON failure(at);"
    "CREATE TABLE IF NOT EXISTS block("
    "address TEXT PRIMARY KEY NOT NULL, since INTEGER NOT NULL, until INTEGER NOT NULL, "
    "service TEXT NOT NULL) WITHOUT ROWID;"
    "CREATE INDEX IF NOT EXISTS block_until ON block(until);";

// See kSchema.  Nothing changes in a file without a write-ahead log.
const char* const kNoWriteAheadLog = "PRAGMA journal_mode = DELETE";
const char* const kBegin = "BEGIN IMMEDIATE";

class Statement {
 public:
  Statement(sqlite3* connection, const char* sql) {
    sqlite3_prepare_v2(connection, sql, -1, &statement_, nullptr);
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement() { sqlite3_finalize(statement_); }

  Statement& Bind(const char* name, const std::string& text) {
    sqlite3_bind_text(statement_, Index(name), text.c_str(), -1, SQLITE_TRANSIENT);
    return *this;
  }
  Statement& Bind(const char* name, long number) {
    sqlite3_bind_int64(statement_, Index(name), number);
    return *this;
  }

  /// SQLITE_ROW, SQLITE_DONE, or a failure (also when the text was not understood).
  int Step() { return sqlite3_step(statement_); }
  bool Run() { return Step() == SQLITE_DONE; }

  long Number(int column) const { return sqlite3_column_int64(statement_, column); }
  std::string Text(int column) const {
    const unsigned char* const text = sqlite3_column_text(statement_, column);
    return text == nullptr ? "" : reinterpret_cast<const char*>(text);
  }

 private:
  int Index(const char* name) const {
    return sqlite3_bind_parameter_index(statement_, name);
  }

  sqlite3_stmt* statement_ = nullptr;
};

}  // namespace

const char* BlockStore::Path() { return "/usr/vexo/etc/private/autoblock/autoblock.db"; }

bool BlockStore::Open() {
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(Path(), &opened, SQLITE_OPEN_READWRITE, nullptr);
  connection_.reset(opened);
  if (code != SQLITE_OK) return Failed();
  wait_.Install(opened);
  wait_.Start();
  return true;
}

bool BlockStore::Count(const std::string& address, const std::string& service,
                       Counted* counted) {
  if (!BeginToWrite()) return false;
  const long now = time(nullptr);  // taken under the lock: it only grows
  if (!AdjustToClock(now) || !RemoveExpired(now) || !AddFailure(address, service, now) ||
      !FindFailures(address, now, &counted->failures)) {
    return false;
  }
  counted->blocked = counted->failures >= SystemConfiguration().block_failures;
  if (counted->blocked && !Block(address, service, now)) return false;
  return Execute("COMMIT");
}

bool BlockStore::IsBlocked(const std::string& address, bool* blocked) {
  // Read without the write lock: the visitors that are checked at the same time must not
  // wait for each other.
  bool filled = false;
  if (!HasTables(&filled)) return false;
  bool set_back = false;
  if (filled && !FindBlock(address, blocked, &set_back)) return false;
  if (set_back) {
    return BeginToWrite() && AdjustToClock(time(nullptr)) && Execute("COMMIT");
  }
  return *blocked || CanCount(address);
}

bool BlockStore::Remove(const std::string& address, Forget what) {
  if (!BeginToWrite()) return false;
  Statement failures(connection_.get(), "DELETE FROM failure WHERE address = :address");
  if (!failures.Bind(":address", address).Run()) return Failed();
  if (what == Forget::kFailuresAndBlock) {
    Statement block(connection_.get(), "DELETE FROM block WHERE address = :address");
    if (!block.Bind(":address", address).Run()) return Failed();
  }
  return Execute("COMMIT");
}

bool BlockStore::List(std::map<std::string, Entry>* entries) {
  bool filled = false;
  if (!HasTables(&filled)) return false;
  if (!filled) return true;
  const long now = time(nullptr);
  int code = SQLITE_DONE;

  Statement blocks(connection_.get(),
                   "SELECT address, iif(since > :now, :now + until - since, until), "
                   "service FROM block WHERE since > :now OR until > :now");
  blocks.Bind(":now", now);
  while ((code = blocks.Step()) == SQLITE_ROW) {
    Entry& entry = (*entries)[blocks.Text(0)];
    entry.blocked_until = blocks.Number(1);
    entry.service = blocks.Text(2);
  }
  if (code != SQLITE_DONE) return Failed();

  Statement failures(connection_.get(),
                     "SELECT address, failures, service FROM failure "
                     "WHERE at > :begin ORDER BY at");
  failures.Bind(":begin", now - SystemConfiguration().block_window_seconds);
  while ((code = failures.Step()) == SQLITE_ROW) {
    Entry& entry = (*entries)[failures.Text(0)];
    entry.failures += failures.Number(1);
    entry.service = failures.Text(2);
  }
  return code == SQLITE_DONE || Failed();
}

bool BlockStore::IsIntact() {
  Statement check(connection_.get(), "PRAGMA integrity_check(1)");
  return check.Step() == SQLITE_ROW && check.Text(0) == "ok";
}

void BlockStore::Close::operator()(sqlite3* connection) const {
  sqlite3_close_v2(connection);
}

bool BlockStore::BeginToWrite() {
  return Execute(kNoWriteAheadLog) && Execute(kBegin) && Execute(kSchema);
}

bool BlockStore::Execute(const char* sql) {
  return sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK ||
         Failed();
}

bool BlockStore::Failed() {
  const int code = sqlite3_errcode(connection_.get());
  damaged_ = code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
  syslog(LOG_ERR, "%s: %s", Path(), sqlite3_errmsg(connection_.get()));
  errno = EIO;
  return false;
}

/// An empty file has no tables yet, and nobody in them.
bool BlockStore::HasTables(bool* filled) {
  Statement find(connection_.get(),
                 "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'block'");
  const int code = find.Step();
  *filled = code == SQLITE_ROW;
  return code == SQLITE_ROW || code == SQLITE_DONE || Failed();
}

bool BlockStore::FindBlock(const std::string& address, bool* blocked, bool* set_back) {
  const long now = time(nullptr);
  Statement find(connection_.get(),
                 "SELECT since, until FROM block WHERE address = :address");
  const int code = find.Bind(":address", address).Step();
  if (code == SQLITE_ROW) {
    *set_back = find.Number(0) > now;
    *blocked = *set_back || now < find.Number(1);
  }
  return code == SQLITE_ROW || code == SQLITE_DONE || Failed();
}

/// A failure that cannot be counted would be a free guess.  So a failure is counted and
/// rolled back, which does not wait for the disk.
///
/// While another process writes, this one does not wait for its turn and takes the store
/// for writable.  The cost: if a process never releases the lock, Count gives up after
/// its ten seconds, and each process that checks passwords has one uncounted guess in
/// that time.  And while the store cannot be written, a check at the very moment at which
/// another process finds that out is not refused.
bool BlockStore::CanCount(const std::string& address) {
  if (!Execute(kNoWriteAheadLog)) return false;
  sqlite3_busy_handler(connection_.get(), nullptr, nullptr);
  const int code = sqlite3_exec(connection_.get(), kBegin, nullptr, nullptr, nullptr);
  wait_.Install(connection_.get());
  if (code == SQLITE_BUSY) return true;
  if (code != SQLITE_OK) return Failed();
  return Execute(kSchema) && AddFailure(address, "", time(nullptr)) &&
         Execute("ROLLBACK");
}

/// Moves what lies in the future to now.
bool BlockStore::AdjustToClock(long now) {
  return Run("UPDATE block SET since = :now, until = :now + until - since "
             "WHERE since > :now",
             now) &&
         Run("INSERT INTO failure(address, at, failures, service) "
             "SELECT address, :now, SUM(failures), service FROM failure "
             "WHERE at > :now GROUP BY address "
             "ON CONFLICT(address, at) DO UPDATE "
             "SET failures = failures + excluded.failures",
             now) &&
         Run("DELETE FROM failure WHERE at > :now", now);
}

/// Removes some of the expired rows: more than a count adds, but few, so that a count
/// needs little room on the disk.
bool BlockStore::RemoveExpired(long now) {
  return Run("DELETE FROM block WHERE address IN "
             "(SELECT address FROM block WHERE until <= :now LIMIT 4)",
             now) &&
         Run("DELETE FROM failure WHERE (address, at) IN "
             "(SELECT address, at FROM failure WHERE at <= :now LIMIT 4)",
             now - SystemConfiguration().block_window_seconds);
}

bool BlockStore::AddFailure(const std::string& address, const std::string& service,
                            long now) {
  Statement count(connection_.get(),
                  "INSERT INTO failure(address, at, failures, service) "
                  "VALUES(:address, :now, 1, :service) ON CONFLICT(address, at) "
                  "DO UPDATE SET failures = failures + 1, service = excluded.service");
  return count.Bind(":address", address)
             .Bind(":now", now)
             .Bind(":service", service)
             .Run() ||
         Failed();
}

bool BlockStore::FindFailures(const std::string& address, long now, long* failures) {
  Statement sum(connection_.get(),
                "SELECT SUM(failures) FROM failure "
                "WHERE address = :address AND at > :begin");
  sum.Bind(":address", address);
  sum.Bind(":begin", now - SystemConfiguration().block_window_seconds);
  if (sum.Step() != SQLITE_ROW) return Failed();
  *failures = sum.Number(0);
  return true;
}

bool BlockStore::Block(const std::string& address, const std::string& service, long now) {
  Statement block(connection_.get(),
                  "INSERT OR REPLACE INTO block(address, since, until, service) "
                  "VALUES(:address, :now, :until, :service)");
  block.Bind(":address", address).Bind(":now", now).Bind(":service", service);
  block.Bind(":until", now + SystemConfiguration().block_duration_seconds);
  return block.Run() || Failed();
}

bool BlockStore::Run(const char* sql, long now) {
  Statement statement(connection_.get(), sql);
  return statement.Bind(":now", now).Run() || Failed();
}

}  // namespace VEXO::platform
