#include "vexo/db.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "catch_bad_alloc.h"
#include "lock_wait.h"
#include "locked_file.h"

using VEXO::platform::CatchBadAlloc;
using VEXO::platform::LockedFile;
using VEXO::platform::LockWait;

namespace {

struct CloseConnection {
  void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
};

struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

}  // namespace

struct VEXODB {
  // Declared before the connection, which points to them.
  LockWait wait{LockWait::Signals::kEndWait};
  LockedFile file{wait};
  std::unique_ptr<sqlite3, CloseConnection> connection;
  std::string error;
};

struct DBResult_tag {
  std::vector<std::string> columns;
  std::vector<std::string> values;  // row by row
  unsigned int next = 0;

  size_t Rows() const { return columns.empty() ? 0 : values.size() / columns.size(); }
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

/// Steps through `statement`.  When it has columns, its rows replace those of `result`.
int CollectRows(sqlite3* connection, sqlite3_stmt* statement, DBResult_tag& result) {
  DBResult_tag rows;
  const int width = sqlite3_column_count(statement);
  for (int i = 0; i < width; ++i) {
    const char* const name = sqlite3_column_name(statement, i);
    if (name == nullptr) return SQLITE_NOMEM;
    rows.columns.emplace_back(name);
  }

  int code;
  while ((code = sqlite3_step(statement)) == SQLITE_ROW) {
    for (int i = 0; i < width; ++i) {
      const unsigned char* const text = sqlite3_column_text(statement, i);
      if (text == nullptr && sqlite3_errcode(connection) == SQLITE_NOMEM) {
        return SQLITE_NOMEM;
      }
      const size_t size = sqlite3_column_bytes(statement, i);
      rows.values.emplace_back(reinterpret_cast<const char*>(text), text ? size : 0);
    }
  }
  if (code != SQLITE_DONE) return code;
  if (width > 0) result = std::move(rows);
  return SQLITE_OK;
}

/// Runs the first statement of `sql` once; `*rest` is the text behind it.
int RunStatement(sqlite3* connection, const char* sql, const char** rest,
                 DBResult_tag& result) {
  sqlite3_stmt* prepared = nullptr;
  const int code = sqlite3_prepare_v2(connection, sql, -1, &prepared, rest);
  const Statement statement(prepared);
  if (code != SQLITE_OK) return code;
  if (statement == nullptr) return SQLITE_OK;  // blanks or a comment
  return CollectRows(connection, statement.get(), result);
}

/// Whether the first statement of `sql` is a checkpoint of the kind that waits for nobody
/// (https://www.sqlite.org/pragma.html#pragma_wal_checkpoint).
bool IsPassiveCheckpoint(const char* sql) {
  const char kCheckpoint[] = "PRAGMA wal_checkpoint";
  if (sqlite3_strnicmp(sql, kCheckpoint, sizeof(kCheckpoint) - 1) != 0) return false;
  const char next = sql[sizeof(kCheckpoint) - 1];
  return next == ';' || next == '\0';
}

/// Runs every statement of `sql`.  `*inherited` becomes false once the transaction that
/// was open before has ended: one found open later is this text's own.
bool RunText(VEXODB& db, const char* sql, DBResult_tag& result, bool* inherited) {
  sqlite3* const connection = db.connection.get();
  while (*sql != '\0') {
    // SQLite skips the busy handler where two waiting processes would block each other,
    // for instance when both switch a new file to write-ahead logging.  A statement may
    // be repeated outside a transaction, where it holds no lock between two attempts, and
    // when only the write lock was busy, because its holder never waits for readers.
    const bool outside = !InTransaction(connection);
    const char* rest = nullptr;
    int code;
    db.file.BeginStatement(IsPassiveCheckpoint(sql));
    do {
      code = RunStatement(connection, sql, &rest, result);
    } while ((code & 0xff) == SQLITE_BUSY &&
             (outside || db.file.found_write_lock_busy()) && db.file.Wait());
    if (code != SQLITE_OK) {
      db.error = ErrorText(db);
      return false;
    }
    if (!InTransaction(connection)) *inherited = false;
    sql = rest;
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
    const int code = sqlite3_open_v2(
        database, &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_PRIVATECACHE, nullptr);
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
  if (result == nullptr || row == nullptr || result->next >= result->Rows()) return -1;
  *row = result->next++;
  return 0;
}

const char* VEXODBFetchField(DBResult_tag* result, unsigned int row, const char* column) {
  if (result == nullptr || column == nullptr || row >= result->Rows()) return nullptr;
  const auto& columns = result->columns;
  const auto found = std::find(columns.begin(), columns.end(), column);
  if (found == columns.end()) return nullptr;
  return result->values[row * columns.size() + (found - columns.begin())].c_str();
}

int VEXODBEscapeStringEX2(int kind, char* buffer, size_t size, const char* text,
                          size_t length) {
  if (kind != 0 || (text == nullptr && length > 0) || (buffer == nullptr && size > 0)) {
    errno = EINVAL;
    return -1;
  }
  const size_t quotes = length == 0 ? 0 : std::count(text, text + length, '\'');
  const size_t needed = length + quotes;
  if (needed > size || needed > INT_MAX) {
    errno = ERANGE;
    return -1;
  }

  char* end = buffer;
  for (size_t i = 0; i < length; ++i) {
    if (text[i] == '\'') *end++ = '\'';
    *end++ = text[i];
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
