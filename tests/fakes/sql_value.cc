#include "sql_value.h"

#include <sqlite3.h>

#include <memory>

namespace fakes {

std::string SqlValue(const std::string& path, const std::string& sql) {
  sqlite3* handle = nullptr;
  const int opened =
      sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> owner(handle, sqlite3_close);
  if (opened != SQLITE_OK) return sqlite3_errmsg(handle);
  sqlite3_busy_timeout(handle, 10000);

  const char* rest = sql.c_str();
  std::string value;
  while (*rest != '\0') {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(handle, rest, -1, &statement, &rest) != SQLITE_OK) {
      return sqlite3_errmsg(handle);
    }
    const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> done(
        statement, sqlite3_finalize);
    if (statement == nullptr) continue;  // blanks or a comment
    int step = sqlite3_step(statement);
    if (step == SQLITE_ROW) {
      const unsigned char* const text = sqlite3_column_text(statement, 0);
      value = text == nullptr ? "NULL" : reinterpret_cast<const char*>(text);
    }
    while (step == SQLITE_ROW) step = sqlite3_step(statement);
    if (step != SQLITE_DONE) return sqlite3_errmsg(handle);
  }
  return value;
}

}  // namespace fakes
