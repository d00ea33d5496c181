#include "vexo/db.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "catch_bad_alloc.h"
#include "kept_statements.h"
#include "lock_wait.h"
#include "locked_file.h"
#include "result.h"
#include "statement.h"

using VEXO::platform::CatchBadAlloc;
using VEXO::platform::ColumnNames;
using VEXO::platform::HasAttached;
using VEXO::platform::KeptStatements;
using VEXO::platform::LockedFile;
using VEXO::platform::LockWait;
using VEXO::platform::NameList;
using VEXO::platform::Statement;

namespace {

// A connection is used by one thread at a time, so SQLite needs no mutex for it.
constexpr int kOpenFlags =
    SQLITE_OPEN_READWRITE | SQLITE_OPEN_PRIVATECACHE | SQLITE_OPEN_NOMUTEX;

struct CloseConnection {
  void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
};

}  // namespace

struct VEXODB {
  // Each is used by members that follow it, so it must outlive them.
  LockWait wait{LockWait::Signals::kEndWait};
  LockedFile file{wait};
  std::unique_ptr<sqlite3, CloseConnection> connection;
  std::optional<KeptStatements> kept;
  std::string error;
};

namespace {

bool InTransaction(sqlite3* connection) {
  return sqlite3_get_autocommit(connection) == 0;
}

/// One call of VEXODBExecute: no wait and no unused lock outlives it, however it ends.
class Call {
 public:
  explicit Call(VEXODB& db) : db_(db) { db_.wait.Start(); }
  ~Call() {
    db_.file.EndStatement();
    db_.wait.End();
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

 private:
  VEXODB& db_;
};

std::string ErrorText(const VEXODB& db) {
  if (db.wait.interrupted()) return "interrupted";
  sqlite3* const connection = db.connection.get();
  const bool cannot_lock = sqlite3_extended_errcode(connection) == SQLITE_IOERR_LOCK &&
                           !db.file.failure().empty();
  return cannot_lock ? db.file.failure() : sqlite3_errmsg(connection);
}

constexpr std::string_view kCheckpoint = "PRAGMA wal_checkpoint";

/// Whether the first statement of `sql` is a checkpoint of the kind that waits for nobody
/// (https://www.sqlite.org/pragma.html#pragma_wal_checkpoint).
bool IsPassiveCheckpoint(std::string_view sql) {
  const std::size_t size = kCheckpoint.size();
  if (sql.substr(0, size) != kCheckpoint &&
      sqlite3_strnicmp(sql.data(), kCheckpoint.data(), static_cast<int>(size)) != 0) {
    return false;
  }
  return sql.size() == size || sql[size] == ';';
}

/// Runs the first statement of `sql` once; `*rest` is the text behind it.
int RunStatement(VEXODB& db, std::string_view sql, const char** rest,
                 DBResult_tag& result) {
  int code;
  if (db.kept->Run(sql, &result, &code)) {
    *rest = sql.data() + sql.size();
    return code;
  }
  sqlite3_stmt* prepared = nullptr;
  code = sqlite3_prepare_v2(db.connection.get(), sql.data(), -1, &prepared, rest);
  const Statement statement(prepared);
  if (code != SQLITE_OK) return code;
  if (statement == nullptr) return SQLITE_OK;  // blanks or a comment
  ColumnNames names;
  return result.Collect(statement.get(), &names);
}

/// Does the same for a passive checkpoint of a log that is open, without compiling SQL.
int RunCheckpoint(VEXODB& db, std::string_view sql, const char** rest,
                  DBResult_tag& result) {
  sqlite3* const connection = db.connection.get();
  int pages = -1;
  int copied = -1;
  int code = SQLITE_BUSY;
  // In a transaction it fails, and attached databases have logs of their own.
  if (InTransaction(connection) || HasAttached(connection) || !db.file.IsLogCopied()) {
    code = sqlite3_wal_checkpoint_v2(connection, nullptr, SQLITE_CHECKPOINT_PASSIVE,
                                     &pages, &copied);
    if (code != SQLITE_OK && code != SQLITE_BUSY) return code;
  }
  *rest = sql.data() + kCheckpoint.size();
  if (**rest == ';') ++*rest;
  // Never destroyed: stores may end at exit.
  static const auto& names =
      *new NameList(new std::vector<std::string>{"busy", "log", "checkpointed"});
  result.SetRow(names, {code == SQLITE_BUSY, pages, copied});
  return SQLITE_OK;
}

/// Runs every statement of `sql`, which a NUL follows.  `*inherited` becomes false once
/// the transaction that was open before has ended: one found open later is this text's
/// own.
bool RunText(VEXODB& db, std::string_view sql, DBResult_tag& result, bool* inherited) {
  sqlite3* const connection = db.connection.get();
  while (!sql.empty()) {
    // SQLite skips the busy handler where two waiting processes would block each other,
    // for instance when both switch a new file to write-ahead logging.  A statement may
    // be repeated outside a transaction, where it holds no lock between two attempts, and
    // when only the write lock was busy, because its holder never waits for readers.
    const bool outside = !InTransaction(connection);
    const char* rest = nullptr;
    int code;
    const bool is_checkpoint = IsPassiveCheckpoint(sql);
    const auto run = is_checkpoint && db.file.has_log() ? RunCheckpoint : RunStatement;
    db.file.BeginStatement(is_checkpoint);
    do {
      code = run(db, sql, &rest, result);
    } while ((code & 0xff) == SQLITE_BUSY &&
             (outside || db.file.found_write_lock_busy()) && db.file.Wait());
    if (code != SQLITE_OK) {
      db.error = ErrorText(db);
      return false;
    }
    if (!InTransaction(connection)) *inherited = false;
    sql.remove_prefix(rest - sql.data());
  }
  return true;
}

}  // namespace

VEXODB* VEXODBConnect(const char* /*host*/, const char* /*user*/,
                      const char* /*password*/, const char* database) {
  if (database == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  // SQLite gives an empty name and ":memory:" a meaning of their own; neither is a file.
  struct stat status;
  if (stat(database, &status) == -1) return nullptr;
  if (!S_ISREG(status.st_mode)) {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return nullptr;
  }

  return CatchBadAlloc<VEXODB*>(nullptr, [database]() -> VEXODB* {
    auto db = std::make_unique<VEXODB>();
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(database, &opened, kOpenFlags, nullptr);
    db->connection.reset(opened);
    if (code != SQLITE_OK) {
      const int reason = opened == nullptr ? ENOMEM : sqlite3_system_errno(opened);
      errno = reason == 0 ? EIO : reason;
      return nullptr;
    }
    if (sqlite3_db_readonly(opened, "main") != 0) {  // opened all the same, for reading
      errno = EACCES;
      return nullptr;
    }
    if (db->file.Install(opened) != SQLITE_OK) {
      errno = EIO;
      return nullptr;
    }
    db->kept.emplace(opened);
    return db.release();
  });
}

int VEXODBExecute(VEXODB* db, const char* sql, DBResult_tag** result) {
  if (result != nullptr) *result = nullptr;
  if (db == nullptr || sql == nullptr) {
    errno = EINVAL;
    return -1;
  }

  const Call call(*db);
  sqlite3* const connection = db->connection.get();
  bool inherited = InTransaction(connection);
  std::unique_ptr<DBResult_tag> rows;
  bool good = false;
  try {
    rows = std::make_unique<DBResult_tag>();
    good = RunText(*db, sql, *rows, &inherited);
  } catch (const std::exception&) {
    db->error = "out of memory";  // short enough to take no memory
  }
  if (!good) {
    if (!inherited && InTransaction(connection)) {
      sqlite3_exec(connection, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    return -1;
  }
  if (result != nullptr) *result = rows.release();
  return 0;
}

int VEXODBFetchRow(DBResult_tag* result, unsigned int* row) {
  return result != nullptr && row != nullptr && result->NextRow(row) ? 0 : -1;
}

const char* VEXODBFetchField(DBResult_tag* result, unsigned int row, const char* column) {
  return result == nullptr || column == nullptr ? nullptr : result->Field(row, column);
}

int VEXODBEscapeStringEX2(int kind, char* buffer, size_t size, const char* text,
                          size_t length) {
  if (kind != 0 || (text == nullptr && length > 0) || (buffer == nullptr && size > 0)) {
    errno = EINVAL;
    return -1;
  }
  const bool plain = length == 0 || memchr(text, '\'', length) == nullptr;
  const size_t quotes = plain ? 0 : std::count(text, text + length, '\'');
  const size_t needed = length + quotes;
  if (needed > size || needed > INT_MAX) {
    errno = ERANGE;
    return -1;
  }

  char* end = buffer;
  if (quotes == 0) {
    end = std::copy(text, text + length, end);
  } else {
    for (size_t i = 0; i < length; ++i) {
      if (text[i] == '\'') *end++ = '\'';
      *end++ = text[i];
    }
  }
  if (needed < size) *end = '\0';
  return static_cast<int>(needed);
}

const char* VEXODBErrorGet(VEXODB* db) {
  return db == nullptr ? "no connection" : db->error.c_str();
}

void VEXODBFreeResult(DBResult_tag* result) { delete result; }

void VEXODBClose(VEXODB* db) { delete db; }

sqlite3* VEXODBSqliteHandle(VEXODB* db) {
  return db == nullptr ? nullptr : db->connection.get();
}
