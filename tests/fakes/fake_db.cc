#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>

#include "current_platform.h"
#include "vexo/db.h"

using fakes::CallText;
using fakes::CurrentPlatform;
using fakes::Platform;

namespace {

struct Database {
  sqlite3* sqlite = nullptr;
  int connections = 0;
};

// For the lifetime of the process, since the library's handle outlives every test.
std::map<std::string, Database>& Databases() {
  static auto* const databases = new std::map<std::string, Database>;
  return *databases;
}

// Runs all of `sql`; the rows of its last statement that has columns.
bool Run(sqlite3* sqlite, const std::string& sql, std::vector<std::string>& columns,
         fakes::Rows& rows, std::string& error) {
  const bool in_transaction = !sqlite3_get_autocommit(sqlite);
  const char* rest = sql.c_str();
  int code = SQLITE_OK;
  while (code == SQLITE_OK && *rest != '\0') {
    sqlite3_stmt* statement = nullptr;
    code = sqlite3_prepare_v2(sqlite, rest, -1, &statement, &rest);
    if (code != SQLITE_OK || statement == nullptr) continue;

    const int count = sqlite3_column_count(statement);
    if (count > 0) {
      columns.clear();
      rows.clear();
      for (int i = 0; i < count; ++i) {
        columns.push_back(sqlite3_column_name(statement, i));
      }
    }
    while (sqlite3_step(statement) == SQLITE_ROW) {
      std::vector<std::string> row;
      for (int i = 0; i < count; ++i) {
        const auto* text =
            reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
        row.push_back(text ? text : "");
      }
      rows.push_back(row);
    }
    code = sqlite3_finalize(statement);
  }
  if (code == SQLITE_OK) return true;
  error = sqlite3_errmsg(sqlite);
  if (!in_transaction && !sqlite3_get_autocommit(sqlite)) {
    sqlite3_exec(sqlite, "ROLLBACK", nullptr, nullptr, nullptr);
  }
  return false;
}

std::string Scalar(sqlite3* sqlite, const std::string& sql) {
  std::vector<std::string> columns;
  fakes::Rows rows;
  std::string error;
  Run(sqlite, sql, columns, rows, error);
  return rows.empty() ? "" : rows[0][0];
}

bool ApplySchema(sqlite3* sqlite) {
  for (const char* step : {"1.sql", "2.sql"}) {
    const std::string path = std::string(VEXO_DB_SCHEMA_SOURCE_DIR "/") + step;
    std::ifstream file(path);
    if (!file) {
      ADD_FAILURE() << "No schema file " << path;
      return false;
    }
    const std::string sql{std::istreambuf_iterator<char>(file), {}};
    char* error = nullptr;
    if (sqlite3_exec(sqlite, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
      ADD_FAILURE() << path << ": " << (error ? error : "failed");
      sqlite3_free(error);
      return false;
    }
  }
  return true;
}

// Opens the database at `path` in memory unless it is open.
Database* OpenDatabase(const Platform& platform, const std::string& path) {
  Database& database = Databases()[path];
  if (database.sqlite == nullptr &&
      sqlite3_open(":memory:", &database.sqlite) != SQLITE_OK) {
    ADD_FAILURE() << "SQLite cannot open a database in memory";
    return nullptr;
  }
  const bool empty =
      Scalar(database.sqlite, "SELECT count(*) FROM sqlite_master") == "0" &&
      Scalar(database.sqlite, "PRAGMA user_version") == "0";
  if (platform.schema_applied && empty && !ApplySchema(database.sqlite)) return nullptr;
  return &database;
}

void EmptyTables(sqlite3* sqlite) {
  if (!sqlite3_get_autocommit(sqlite)) {
    sqlite3_exec(sqlite, "ROLLBACK", nullptr, nullptr, nullptr);
  }
  for (const char* table : {"token", "session", "entry", "sqlite_sequence"}) {
    const std::string named = std::string("'") + table + "'";
    if (Scalar(sqlite, "SELECT count(*) FROM sqlite_master WHERE name=" + named) == "1") {
      Scalar(sqlite, std::string("DELETE FROM ") + table);
    }
  }
}

}  // namespace

struct VEXODB {
  std::string path;
  sqlite3* sqlite;
  std::string error;
};

struct DBResult_tag {
  std::vector<std::string> columns;
  fakes::Rows rows;
  unsigned int next = 0;
};

namespace fakes {

void ResetDatabases() {
  auto& databases = Databases();
  for (auto it = databases.begin(); it != databases.end();) {
    if (it->second.connections > 0) {
      EmptyTables(it->second.sqlite);
      ++it;
    } else {
      sqlite3_close(it->second.sqlite);
      it = databases.erase(it);
    }
  }
}

std::vector<std::string> ConnectedDatabases() {
  std::vector<std::string> paths;
  for (const auto& [path, database] : Databases()) {
    if (database.connections > 0) paths.push_back(path);
  }
  return paths;
}

Rows Platform::Sql(const std::string& sql, const std::string& path) {
  Rows rows;
  Database* const database = OpenDatabase(*this, path);
  if (database == nullptr) return rows;
  files.insert({path, File{1, 1, 0660}});
  std::vector<std::string> columns;
  std::string error;
  if (!Run(database->sqlite, sql, columns, rows, error)) {
    ADD_FAILURE() << sql << ": " << error;
  }
  return rows;
}

}  // namespace fakes

extern "C" {

VEXODB* VEXODBConnect(const char* host, const char* user, const char* password,
                      const char* database) {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("VEXODBConnect", host, user, password, database))) {
    return nullptr;
  }
  if (platform.files.count(database) == 0) return nullptr;
  Database* const opened = OpenDatabase(platform, database);
  if (opened == nullptr) return nullptr;
  ++opened->connections;
  return new VEXODB{database, opened->sqlite, ""};
}

int VEXODBExecute(VEXODB* db, const char* sql, DBResult_tag** result) {
  Platform& platform = CurrentPlatform();
  *result = nullptr;
  if (platform.RefuseStatement(sql)) {
    db->error = "failure wanted by the test";
    return -1;
  }
  auto answer = std::make_unique<DBResult_tag>();
  if (const auto* scripted = platform.ScriptedAnswer(sql)) {
    answer->columns = scripted->first;
    answer->rows = scripted->second;
  } else if (!Run(db->sqlite, sql, answer->columns, answer->rows, db->error)) {
    return -1;
  }
  platform.HandOut(answer.get(), "result");
  *result = answer.release();
  return 0;
}

int VEXODBFetchRow(DBResult_tag* result, unsigned int* row) {
  if (CurrentPlatform().Refuse(CallText("VEXODBFetchRow", result ? "result" : nullptr))) {
    return -1;
  }
  if (result == nullptr || result->next == result->rows.size()) return -1;
  *row = result->next++;
  return 0;
}

const char* VEXODBFetchField(DBResult_tag* result, unsigned int row, const char* column) {
  CurrentPlatform().Record(CallText("VEXODBFetchField", row, column));
  if (result == nullptr || row >= result->rows.size()) return nullptr;
  for (std::size_t i = 0; i < result->columns.size(); ++i) {
    if (result->columns[i] == column) return result->rows[row][i].c_str();
  }
  return nullptr;
}

int VEXODBEscapeStringEX2(int kind, char* buffer, size_t size, const char* text,
                          size_t length) {
  if (CurrentPlatform().Refuse(
          CallText("VEXODBEscapeStringEX2", kind, size, std::string(text, length)))) {
    std::copy_n(text, std::min(size, length), buffer);
    return -1;
  }
  std::string escaped;
  for (std::size_t i = 0; i < length; ++i)
    escaped.append(text[i] == '\'' ? 2 : 1, text[i]);
  if (escaped.size() > size) return -1;
  escaped.copy(buffer, escaped.size());
  if (escaped.size() < size) buffer[escaped.size()] = '\0';
  return static_cast<int>(escaped.size());
}

const char* VEXODBErrorGet(VEXODB* db) {
  CurrentPlatform().Record(CallText("VEXODBErrorGet"));
  return db->error.c_str();
}

void VEXODBFreeResult(DBResult_tag* result) {
  if (Platform* const platform = fakes::PlatformOrNull()) {
    platform->Record(CallText("VEXODBFreeResult", result ? "result" : nullptr));
    if (result != nullptr) platform->TakeBack(result, "result");
  }
  delete result;
}

void VEXODBClose(VEXODB* db) {
  if (Platform* const platform = fakes::PlatformOrNull()) {
    platform->Record(CallText("VEXODBClose", db ? db->path.c_str() : nullptr));
  }
  if (db == nullptr) return;
  if (!sqlite3_get_autocommit(db->sqlite)) {
    sqlite3_exec(db->sqlite, "ROLLBACK", nullptr, nullptr, nullptr);
  }
  --Databases()[db->path].connections;
  delete db;
}

sqlite3* VEXODBSqliteHandle(VEXODB* db) {
  CurrentPlatform().Record(CallText("VEXODBSqliteHandle"));
  return db ? db->sqlite : nullptr;
}

}  // extern "C"
