#include "database_support.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

Database Connect(const std::string& path) {
  return Database(VEXODBConnect("", "", "", path.c_str()), VEXODBClose);
}

bool Executes(const Database& db, const std::string& sql) {
  return VEXODBExecute(db.get(), sql.c_str(), nullptr) >= 0;
}

Rows Ask(const Database& db, const std::string& sql) {
  DBResult_tag* rows = nullptr;
  EXPECT_GE(VEXODBExecute(db.get(), sql.c_str(), &rows), 0) << VEXODBErrorGet(db.get());
  return Rows(rows, VEXODBFreeResult);
}

std::vector<std::string> Values(const Rows& rows) {
  std::vector<std::string> values;
  unsigned int row = 0;
  while (VEXODBFetchRow(rows.get(), &row) == 0) {
    values.emplace_back(VEXODBFetchField(rows.get(), row, "v"));
  }
  return values;
}

std::string FirstField(const Rows& rows, const char* column) {
  const char* const text = VEXODBFetchField(rows.get(), 0, column);
  return text == nullptr ? "none" : text;
}

bool InTransaction(const Database& db) {
  return sqlite3_get_autocommit(VEXODBSqliteHandle(db.get())) == 0;
}

long MillisecondsSince(steady_clock::time_point begin) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() -
                                                               begin)
      .count();
}
