#include "statements.h"

#include "result.h"

namespace tools {

using VEXO::sharing::db::BaseDB;
using VEXO::sharing::db::Result;
using VEXO::sharing::db::Row;

bool SelectNumber(BaseDB& database, const std::string& sql, long& number) {
  Result result;
  Row row;
  if (!database.Execute(sql, result) || !result.NextRow(row)) return false;
  number = row.GetField("n").AsTime(0);
  return true;
}

bool CountChanges(BaseDB& database, long& count) {
  return SelectNumber(database, "SELECT changes() AS n", count);
}

Transaction::Transaction(BaseDB& database)
    : database_(database), open_(database.Execute("BEGIN IMMEDIATE")) {}

Transaction::~Transaction() {
  if (open_) database_.Execute("ROLLBACK");
}

bool Transaction::Commit() {
  // A failed one is rolled back at the end: until then its reason can be told.
  open_ = !database_.Execute("COMMIT");
  return !open_;
}

}  // namespace tools
