#include "vexo/autoblock.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "address.h"
#include "base/system_account.h"
#include "base/unique_fd.h"
#include "block_list.h"
#include "catch_bad_alloc.h"
#include "configuration.h"
#include "lock_wait.h"
#include "system_file.h"

namespace VEXO::platform {
namespace {

const char* const kPath = "/usr/vexo/etc/private/autoblock/autoblock.db";
const int kMaxAttempts = 3;

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
    "service TEXT NOT NULL) WITHOUT ROWID;";

/// Which file has the store's name: its number, 0 for none; nothing when that is unknown.
std::optional<ino_t> FindFile() {
  struct stat status;
  if (stat(kPath, &status) == 0) return status.st_ino;
  if (errno == ENOENT || errno == ENOTDIR) return 0;
  return std::nullopt;
}

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

/// The open database.  Of its operations, one that fails has logged why.
class BlockList {
 public:
  struct Entry {
    long failures = 0;
    std::string service;
    long blocked_until = 0;
  };

  bool Open() {
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(kPath, &opened, SQLITE_OPEN_READWRITE, nullptr);
    connection_.reset(opened);
    if (code != SQLITE_OK) return Failed();
    wait_.Install(opened);
    wait_.Start();
    return true;
  }

  /// One transaction, so that no other process's count comes in between.
  bool Count(const std::string& address, const std::string& service) {
    const Configuration& limits = SystemConfiguration();
    if (!BeginToWrite()) return false;
    const long now = time(nullptr);  // taken under the lock: it only grows
    if (!Execute(kSchema) || !RemoveExpired(now)) return false;

    Statement count(connection_.get(),
                    "INSERT INTO failure(address, at, failures, service) "
                    "VALUES(:address, :now, 1, :service) ON CONFLICT(address, at) "
                    "DO UPDATE SET failures = failures + 1, service = excluded.service");
    count.Bind(":address", address).Bind(":now", now).Bind(":service", service);
    if (!count.Run()) return Failed();

    Statement block(connection_.get(),
                    "INSERT OR REPLACE INTO block(address, since, until, service) "
                    "SELECT :address, :now, :until, :service "
                    "WHERE (SELECT SUM(failures) FROM failure WHERE address = :address) "
                    ">= :limit");
    block.Bind(":address", address).Bind(":now", now).Bind(":service", service);
    block.Bind(":until", now + limits.block_duration_seconds);
    block.Bind(":limit", limits.block_failures);
    if (!block.Run()) return Failed();
    return Execute("COMMIT");
  }

  /// `blocks` too: forgets not only the failures but also the block.
  bool Forget(const std::string& address, bool blocks) {
    if (!BeginToWrite() || !Execute(kSchema)) return false;
    Statement failures(connection_.get(), "DELETE FROM failure WHERE address = :address");
    if (!failures.Bind(":address", address).Run()) return Failed();
    if (blocks) {
      Statement block(connection_.get(), "DELETE FROM block WHERE address = :address");
      if (!block.Bind(":address", address).Run()) return Failed();
    }
    return Execute("COMMIT");
  }

  /// `*blocked` tells whether the address is blocked now.
  bool Find(const std::string& address, bool* blocked) {
    bool filled;
    if (!HasTables(&filled)) return false;
    *blocked = false;
    if (!filled) return true;
    Statement find(connection_.get(),
                   "SELECT 1 FROM block WHERE address = :address "
                   "AND since <= :now AND :now < until");
    const int code = find.Bind(":address", address).Bind(":now", time(nullptr)).Step();
    if (code != SQLITE_ROW && code != SQLITE_DONE) return Failed();
    *blocked = code == SQLITE_ROW;
    return true;
  }

  /// Whether the last failure was that SQLite found the file damaged, or not a database.
  bool damaged() const { return damaged_; }

  bool IsIntact() {
    Statement check(connection_.get(), "PRAGMA integrity_check(1)");
    return check.Step() == SQLITE_ROW && check.Text(0) == "ok";
  }

  bool List(std::map<std::string, Entry>* entries) {
    bool filled;
    if (!HasTables(&filled)) return false;
    if (!filled) return true;
    const long now = time(nullptr);
    int code;

    Statement blocks(connection_.get(),
                     "SELECT address, until, service FROM block "
                     "WHERE since <= :now AND :now < until");
    blocks.Bind(":now", now);
    while ((code = blocks.Step()) == SQLITE_ROW) {
      Entry& entry = (*entries)[blocks.Text(0)];
      entry.blocked_until = blocks.Number(1);
      entry.service = blocks.Text(2);
    }
    if (code != SQLITE_DONE) return Failed();

    Statement failures(connection_.get(),
                       "SELECT address, failures, service FROM failure "
                       "WHERE at > :begin AND at <= :now ORDER BY at");
    failures.Bind(":begin", now - SystemConfiguration().block_window_seconds);
    failures.Bind(":now", now);
    while ((code = failures.Step()) == SQLITE_ROW) {
      Entry& entry = (*entries)[failures.Text(0)];
      entry.failures += failures.Number(1);
      entry.service = failures.Text(2);
    }
    return code == SQLITE_DONE || Failed();
  }

 private:
  struct Close {
    void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
  };

  /// A write-ahead log is not wanted: see kSchema.  Nothing changes in a file without
  /// one.
  bool BeginToWrite() {
    return Execute("PRAGMA journal_mode = DELETE") && Execute("BEGIN IMMEDIATE");
  }

  bool Execute(const char* sql) {
    return sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK ||
           Failed();
  }

  bool Failed() {
    const int code = sqlite3_errcode(connection_.get());
    damaged_ = code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
    syslog(LOG_ERR, "%s: %s", kPath, sqlite3_errmsg(connection_.get()));
    errno = EIO;
    return false;
  }

  /// An empty file has no tables yet, and nobody in them.
  bool HasTables(bool* filled) {
    Statement find(connection_.get(),
                   "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'block'");
    const int code = find.Step();
    *filled = code == SQLITE_ROW;
    return code == SQLITE_ROW || code == SQLITE_DONE || Failed();
  }

  /// Removes what has run out.  When the clock was set back, a block that begins in the
  /// future begins now, so that nobody is blocked longer than a block lasts, and failures
  /// of the future are forgotten.
  bool RemoveExpired(long now) {
    Statement moved(connection_.get(),
                    "UPDATE block SET since = :now, until = :now + until - since "
                    "WHERE since > :now");
    if (!moved.Bind(":now", now).Run()) return Failed();
    Statement ended(connection_.get(), "DELETE FROM block WHERE until <= :now");
    if (!ended.Bind(":now", now).Run()) return Failed();
    Statement old(connection_.get(),
                  "DELETE FROM failure WHERE at <= :begin OR at > :now");
    old.Bind(":begin", now - SystemConfiguration().block_window_seconds);
    return old.Bind(":now", now).Run() || Failed();
  }

  // A signal to the program must neither block a visitor nor free a wrong guess.
  LockWait wait_{LockWait::Signals::kIgnored};
  std::unique_ptr<sqlite3, Close> connection_;  // points to wait_
  bool damaged_ = false;
};

/// Moves a damaged store aside, so that a new one can be created.  True also when another
/// process has done so.
bool MoveAside() {
  const base::UniqueFd file(open(kPath, O_RDONLY | O_CLOEXEC));
  if (!file) return errno == ENOENT;
  // One process at a time; the others then find a new store under the name, or none.
  if (flock(file.get(), LOCK_EX) == -1) return false;
  if (BlockList list; list.Open() && list.IsIntact()) return true;
  struct stat opened;
  struct stat named;
  if (fstat(file.get(), &opened) == -1) return false;
  if (stat(kPath, &named) == -1) return errno == ENOENT;
  if (opened.st_ino != named.st_ino) return true;

  const std::string target = std::string(kPath) + ".damaged-" +
                             std::to_string(time(nullptr)) + "-" +
                             std::to_string(getpid());
  const std::string journal = std::string(kPath) + "-journal";
  // The journal first: SQLite would apply it to the new store.
  if (rename(journal.c_str(), (target + "-journal").c_str()) == -1 && errno != ENOENT) {
    return false;
  }
  if (rename(kPath, target.c_str()) == -1) return errno == ENOENT;
  syslog(LOG_ERR, "%s: damaged, moved to %s; failed logins are counted from zero", kPath,
         target.c_str());
  return true;
}

/// Runs `work` on the store; once more on a new one when it turns out to be damaged, or
/// when another process moved it aside meanwhile.  A missing store is created when
/// `create` is set, and otherwise there is nothing to do.
template <class Work>
bool OnStore(bool create, Work work) {
  for (int attempt = 1;; ++attempt) {
    std::optional<ino_t> file = FindFile();
    if (file == ino_t{0}) {
      if (!create) return true;
      if (!CreateFileWith({base::kSystemUid, base::kSystemGid, 0660}, kPath)) {
        syslog(LOG_ERR, "%s: cannot be created: %m", kPath);
        return false;
      }
      file = FindFile();
    }
    bool damaged = false;
    {
      BlockList list;
      if (list.Open() && work(list)) return true;
      damaged = list.damaged();
    }
    if (attempt == kMaxAttempts) return false;
    const bool replaced = damaged ? MoveAside() : FindFile() != file;
    if (!replaced) return false;
  }
}

/// What failures of `address` are kept under; nothing when it is no address.
std::optional<std::string> Key(const char* address) {
  const std::optional<Address> parsed = Address::Parse(address == nullptr ? "" : address);
  if (!parsed) {
    errno = EINVAL;
    return std::nullopt;
  }
  return parsed->BlockingKey().Text();
}

int Count(const char* address, const char* service) {
  const std::optional<std::string> key = Key(address);
  if (!key) return -1;
  const std::string name = service == nullptr ? "" : service;
  return OnStore(true, [&](BlockList& list) { return list.Count(*key, name); }) ? 0 : -1;
}

int Forget(const char* address, bool blocks) {
  const std::optional<std::string> key = Key(address);
  if (!key) return -1;
  return OnStore(false, [&](BlockList& list) { return list.Forget(*key, blocks); }) ? 0
                                                                                    : -1;
}

}  // namespace

bool IsBlocked(const char* address) {
  const std::optional<std::string> key = Key(address);
  if (!key) return false;
  bool blocked = false;
  const bool looked =
      OnStore(false, [&](BlockList& list) { return list.Find(*key, &blocked); });
  return !looked || blocked;
}

}  // namespace VEXO::platform

using VEXO::platform::BlockList;
using VEXO::platform::CatchBadAlloc;

int AutoBlockFailLoginSet(const char* address, const char* service) {
  return CatchBadAlloc(-1, [=] { return VEXO::platform::Count(address, service); });
}

int VEXOAutoBlockFailLoginReset(const char* address) {
  return CatchBadAlloc(-1, [=] { return VEXO::platform::Forget(address, false); });
}

int VEXOAutoBlockList(int (*each)(const VexoAutoBlockEntry* entry, void* context),
                      void* context) {
  std::map<std::string, BlockList::Entry> entries;
  const bool listed = CatchBadAlloc(false, [&entries] {
    return VEXO::platform::OnStore(false,
                                   [&](BlockList& list) { return list.List(&entries); });
  });
  if (!listed) return -1;

  // The database is closed by now, so `each` may clear its address.
  for (const auto& [address, entry] : entries) {
    const int failures = static_cast<int>(std::min<long>(entry.failures, INT_MAX));
    const VexoAutoBlockEntry reported{address.c_str(), failures, entry.service.c_str(),
                                      entry.blocked_until};
    if (each(&reported, context) != 0) break;
  }
  return 0;
}

int VEXOAutoBlockClear(const char* address) {
  return CatchBadAlloc(-1, [=] { return VEXO::platform::Forget(address, true); });
}
