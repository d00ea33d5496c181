#include "database.h"

#include <json/reader.h>
#include <json/value.h>
#include <sqlite3.h>

#include <functional>
#include <memory>
#include <sstream>

namespace storm {

namespace {

struct Close {
  void operator()(sqlite3* connection) const { sqlite3_close(connection); }
};
struct Finalize {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

using Connection = std::unique_ptr<sqlite3, Close>;
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

std::string Text(sqlite3_stmt* row, int column) {
  const unsigned char* const text = sqlite3_column_text(row, column);
  return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

std::string Title(const std::string& data) {
  std::istringstream text(data);
  Json::Value json;
  std::string errors;
  const bool read =
      Json::parseFromStream(Json::CharReaderBuilder(), text, &json, &errors) &&
      json.isObject();
  return read ? json["protect_title"].asString() : "not JSON: " + data;
}

bool ForEachRow(sqlite3* connection, const char* sql, Faults& faults,
                const std::function<void(sqlite3_stmt*)>& each) {
  sqlite3_stmt* prepared = nullptr;
  int code = sqlite3_prepare_v2(connection, sql, -1, &prepared, nullptr);
  const Statement statement(prepared);
  if (code == SQLITE_OK) {
    while ((code = sqlite3_step(statement.get())) == SQLITE_ROW) each(statement.get());
  }
  if (code == SQLITE_DONE) return true;
  faults.Add(std::string("cannot be read afterwards: ") + sqlite3_errmsg(connection),
             sql);
  return false;
}

}  // namespace

bool ReadTables(const std::string& path, Tables& tables, Faults& faults) {
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr);
  const Connection connection(opened);
  if (code != SQLITE_OK) {
    faults.Add("the database cannot be opened afterwards", sqlite3_errstr(code));
    return false;
  }
  const bool checked =
      ForEachRow(opened, "PRAGMA integrity_check(10)", faults, [&](sqlite3_stmt* row) {
        tables.integrity += (tables.integrity.empty() ? "" : "; ") + Text(row, 0);
      });
  if (!checked) {
    tables.integrity = "cannot be checked";
  } else if (tables.integrity != "ok") {
    faults.Add("the database is damaged", tables.integrity);
  }
  // NOT INDEXED: a damaged index must not hide rows.
  const bool links = ForEachRow(
      opened, "SELECT id, hash, owner_uid, use_count, data FROM entry NOT INDEXED",
      faults, [&](sqlite3_stmt* row) {
        tables.links.push_back({sqlite3_column_int(row, 0), Text(row, 1),
                                static_cast<unsigned int>(sqlite3_column_int64(row, 2)),
                                sqlite3_column_int64(row, 3), Title(Text(row, 4))});
      });
  const bool sessions =
      ForEachRow(opened, "SELECT id, session_id FROM session NOT INDEXED", faults,
                 [&](sqlite3_stmt* row) {
                   tables.sessions.push_back({sqlite3_column_int(row, 0), Text(row, 1)});
                 });
  const bool tokens = ForEachRow(
      opened, "SELECT entry_id, session_id FROM token NOT INDEXED", faults,
      [&](sqlite3_stmt* row) {
        tables.tokens.push_back({sqlite3_column_int(row, 0), sqlite3_column_int(row, 1)});
      });
  return links && sessions && tokens;
}

}  // namespace storm
