#include "visitor_rows.h"

#include <ctime>

#include "condition.h"
#include "statements.h"

namespace webapi {

namespace {

using namespace VEXO::sharing;
using db::SharingDB;

/// Reads the row id that a call names.
long ReadId(Parameters& parameters) {
  long id = 0;
  parameters.Require(SZK_ID_);
  parameters.Number(SZK_ID_, 1, kLargestId, id);
  return id;
}

Failure NoSuchRow(const VisitorTable& table, long id) {
  return {kNoSuchObject, "no such " + table.name + ": " + std::to_string(id)};
}

}  // namespace

bool ReadDeadline(const db::Row& row, Json::Value& view) {
  const long deadline = row.GetField(SZK_TIMEOUT).AsTime(-1);
  if (deadline < 0) return false;
  view[SZK_ID_] = row.GetField(SZK_ID_).AsInt(0);
  view[SZK_TIMEOUT] = Json::Int64{deadline};
  view["alive"] = time(nullptr) < deadline;
  return true;
}

Answer ListRows(const VisitorTable& table, const std::string& condition,
                Parameters& parameters) {
  const Page page = ReadPage(parameters);
  Failure failure;
  SharingDB* const database = OpenDatabase(parameters, failure);
  if (database == nullptr) return failure;
  db::Condition filter(*database);
  filter.Where(condition);
  const std::string from = " FROM " + table.name;
  long total = 0;
  if (!tools::SelectNumber(*database, "SELECT COUNT(*) AS n" + from + filter.GetSQL(),
                           total)) {
    return StatementFailure(*database);
  }
  filter.OrderBy(SZK_ID_, true);
  filter.Limit(page.offset, page.limit);
  db::Result result;
  if (!database->Execute("SELECT " + table.columns + from + filter.GetSQL(), result)) {
    return StatementFailure(*database);
  }
  return PageAnswer(page, total, result, table.read);
}

Answer GetRow(const VisitorTable& table, Parameters& parameters) {
  const long id = ReadId(parameters);
  Failure failure;
  SharingDB* const database = OpenDatabase(parameters, failure);
  if (database == nullptr) return failure;
  db::Result result;
  if (!database->Execute("SELECT " + table.columns + " FROM " + table.name +
                             " WHERE id = " + std::to_string(id),
                         result)) {
    return StatementFailure(*database);
  }
  db::Row row;
  if (!result.NextRow(row)) return NoSuchRow(table, id);
  Json::Value data;
  if (!table.read(row, data[table.name])) {
    return Failure{kUnreadableObject, "the row of the " + table.name + " " +
                                          std::to_string(id) +
                                          " does not read; delete takes it away"};
  }
  return data;
}

Answer DeleteRow(const VisitorTable& table, Parameters& parameters) {
  const long id = ReadId(parameters);
  Failure failure;
  SharingDB* const database = OpenDatabase(parameters, failure);
  if (database == nullptr) return failure;
  const std::string number = std::to_string(id);
  tools::Transaction transaction(*database);
  long revoked = 0;
  long deleted = 0;
  if (!transaction.good() ||
      (table.has_tokens &&
       !DeleteRows(*database, "DELETE FROM token WHERE session_id = " + number,
                   revoked)) ||
      !DeleteRows(*database, "DELETE FROM " + table.name + " WHERE id = " + number,
                  deleted)) {
    return StatementFailure(*database);
  }
  if (deleted == 0) return NoSuchRow(table, id);
  if (!transaction.Commit()) return StatementFailure(*database);
  Json::Value data;
  data[SZK_ID_] = Json::Int64{id};
  if (table.has_tokens) data["revoked"] = Json::Int64{revoked};
  return data;
}

Answer CountRows(const VisitorTable& table, const Parameters& parameters) {
  Failure failure;
  SharingDB* const database = OpenDatabase(parameters, failure);
  if (database == nullptr) return failure;
  const std::string count = "SELECT COUNT(*) AS n FROM " + table.name;
  long total = 0;
  long alive = 0;
  if (!tools::SelectNumber(*database, count, total) ||
      !tools::SelectNumber(*database,
                           count + " WHERE timeout > " + std::to_string(time(nullptr)),
                           alive)) {
    return StatementFailure(*database);
  }
  Json::Value data;
  data["total"] = Json::Int64{total};
  data["alive"] = Json::Int64{alive};
  return data;
}

}  // namespace webapi
