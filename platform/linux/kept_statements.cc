#include "kept_statements.h"

namespace VEXO::platform {
namespace {

// Off in a build for tests only.
constexpr bool kKeep = VEXO_KEEP_STATEMENTS;

constexpr int kFirstAttached = 2;  // the databases before are "main" and "temp"

}  // namespace

bool HasAttached(sqlite3* connection) {
  return sqlite3_db_name(connection, kFirstAttached) != nullptr;
}

bool KeptStatements::Run(std::string_view sql, DBResult_tag* result, int* code) {
  if (!kKeep) return false;
  ParsedText text;
  const int number = text.Parse(sql);
  // SQLite compiles a kept statement again when the schema has changed, but not when a
  // new table of the main database hides the table of an attached one that it uses.
  if (number == -1 || HasAttached(connection_)) return false;

  const KnownStatement& known = GetKnownStatement(number);
  Kept& kept = kept_[number];
  if (known.table != nullptr && kept.short_update.Run(connection_, known, text, code)) {
    return true;
  }
  if (kept.statement == nullptr) {
    sqlite3_stmt* prepared = nullptr;
    sqlite3_prepare_v3(connection_, known.sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared,
                       nullptr);
    kept.statement.reset(prepared);
  }
  const BoundStatement bound(kept.statement.get(), text);
  if (!bound) return false;
  *code = result->Collect(kept.statement.get(), &kept.names);
  return true;
}

}  // namespace VEXO::platform
