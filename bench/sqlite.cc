#include "sqlite.h"

#include <cstdio>
#include <cstdlib>

namespace bench {

void Fail(sqlite3* connection) {
  std::fprintf(stderr, "SQLite: %s\n", sqlite3_errmsg(connection));
  std::exit(1);
}

Connection Open(const char* path, bool create) {
  sqlite3* opened = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_PRIVATECACHE |
                    SQLITE_OPEN_NOMUTEX | (create ? SQLITE_OPEN_CREATE : 0);
  const int code = sqlite3_open_v2(path, &opened, flags, nullptr);
  Connection connection(opened);
  if (code != SQLITE_OK) Fail(opened);
  return connection;
}

void Execute(sqlite3* connection, const char* sql) {
  if (sqlite3_exec(connection, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    Fail(connection);
  }
}

Statement::Statement(sqlite3* connection, const char* sql) {
  sqlite3_stmt* prepared = nullptr;
  if (sqlite3_prepare_v3(connection, sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared,
                         nullptr) != SQLITE_OK) {
    Fail(connection);
  }
  statement_.reset(prepared);
}

bool Statement::Step() {
  const int code = sqlite3_step(statement_.get());
  if (code != SQLITE_ROW && code != SQLITE_DONE)
    Fail(sqlite3_db_handle(statement_.get()));
  return code == SQLITE_ROW;
}

void Statement::Reset() { sqlite3_reset(statement_.get()); }

void Statement::Run() {
  Step();
  Reset();
}

std::int64_t Statement::Number(int column) {
  return sqlite3_column_int64(statement_.get(), column);
}

std::string_view Statement::Text(int column) {
  const auto* const text =
      reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
  return {text, static_cast<size_t>(sqlite3_column_bytes(statement_.get(), column))};
}

void Statement::BindOne(int parameter, std::int64_t value) {
  sqlite3_bind_int64(statement_.get(), parameter, value);
}

void Statement::BindOne(int parameter, std::string_view value) {
  sqlite3_bind_text(statement_.get(), parameter, value.data(),
                    static_cast<int>(value.size()), SQLITE_STATIC);
}

}  // namespace bench
