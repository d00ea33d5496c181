#include "db/stores/store_sql.h"

#include <ctime>

#include "base_db.h"
#include "object.h"
#include "result.h"
#include "utils.h"
#include "utils/plain_text.h"

namespace VEXO::sharing::db {

bool GetFirst(BaseDB& db, const std::string& sql, record::Object& obj) {
  Result result;
  Row row;
  if (!db.Execute(sql, result) || !result.IsGood() || !result.NextRow(row)) return false;
  return obj.FromRow(row);
}

bool PurgePastDeadline(BaseDB& db, const char* table, float probability) {
  if (!IsProbabilityHit(probability)) return true;
  PlainText sql;
  sql << "DELETE FROM " << table << " WHERE timeout < '" << time(nullptr) << "'";
  return db.Execute(sql.str());
}

}  // namespace VEXO::sharing::db
