#include "short_update.h"

namespace VEXO::platform {
namespace {

/// Prepares a statement that fails after a change of the schema.  The newer versions of
/// this SQLite function would let it be compiled again, although the table may no longer
/// be suitable.
Statement Prepare(sqlite3* connection, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare(connection, sql, -1, &statement, nullptr);
  return Statement(statement);
}

const char kIsSuitable[] =
    "SELECT (SELECT count(*) FROM sqlite_master WHERE type = 'table' AND rootpage > 0 "
    "    AND name = ?1 COLLATE NOCASE AND instr(upper(sql), 'CHECK') = 0 "
    "    AND instr(upper(sql), 'COLLATE') = 0) = 1 "
    "  AND (SELECT group_concat(name || ' ' || type) FROM pragma_table_info(?1) "
    "    WHERE pk > 0) = 'id INTEGER' "
    "  AND NOT EXISTS (SELECT * FROM pragma_table_info(?1) "
    "    WHERE type NOT IN ('INTEGER', 'TEXT')) "
    "  AND NOT EXISTS (SELECT * FROM sqlite_master "
    "    WHERE instr(upper(sql), 'REFERENCES') != 0) "
    "  AND NOT EXISTS (SELECT * FROM sqlite_master WHERE type = 'trigger' "
    "    AND tbl_name = ?1 COLLATE NOCASE AND instr(upper(sql), 'UPDATE') != 0) "
    "  AND NOT EXISTS (SELECT * FROM sqlite_temp_master "
    "    WHERE tbl_name = ?1 COLLATE NOCASE)";

/// Whether a transaction is open that has not read or written yet.
bool IsBeforeFirstStatement(sqlite3* connection) {
  return sqlite3_get_autocommit(connection) == 0 &&
         sqlite3_txn_state(connection, "main") == SQLITE_TXN_NONE;
}

bool IsSuitable(sqlite3* connection, const char* table) {
  const Statement query = Prepare(connection, kIsSuitable);
  return query != nullptr &&
         sqlite3_bind_text(query.get(), 1, table, -1, SQLITE_STATIC) == SQLITE_OK &&
         sqlite3_step(query.get()) == SQLITE_ROW &&
         sqlite3_column_int(query.get(), 0) == 1;
}

}  // namespace

bool ShortUpdate::Run(sqlite3* connection, const KnownStatement& known,
                      const ParsedText& text, int* code) {
  if (!IsReady(connection, known)) return false;
  for (const Statement& update : updates_) {
    if (update == nullptr) break;
    const BoundStatement bound(update.get(), text);
    if (!bound) return false;
    sqlite3_step(update.get());
    *code = sqlite3_reset(update.get());
    if (*code == SQLITE_SCHEMA) {
      state_ = State::kUsed;
      return false;
    }
    if (*code != SQLITE_OK || sqlite3_changes(connection) > 0) return true;
  }
  return false;
}

bool ShortUpdate::IsReady(sqlite3* connection, const KnownStatement& known) {
  if (state_ == State::kNew) {
    // Checking the table takes time, and many programs run an update only once.
    state_ = State::kUsed;
    return false;
  }
  if (state_ == State::kUsed) {
    // A transaction that has read cannot write once another connection has written.
    if (IsBeforeFirstStatement(connection)) return false;
    // The updates are prepared before the table is checked: if the schema changes in
    // between, they fail.
    state_ = State::kUnsuitable;
    for (std::size_t i = 0; i < updates_.size() && known.shorter[i] != nullptr; ++i) {
      updates_[i] = Prepare(connection, known.shorter[i]);
      // With PRAGMA count_changes an update has a row.
      if (updates_[i] == nullptr || sqlite3_column_count(updates_[i].get()) != 0) {
        return false;
      }
    }
    if (IsSuitable(connection, known.table)) state_ = State::kReady;
  }
  return state_ == State::kReady;
}

}  // namespace VEXO::platform
