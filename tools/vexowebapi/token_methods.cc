#include "database.h"
#include "methods.h"
#include "token_db.h"
#include "visitor_rows.h"

namespace webapi {

namespace {

using namespace VEXO::sharing;
using db::SharingDB;

bool ReadToken(const db::Row& row, Json::Value& view) {
  const int link = row.GetField(SZK_ENTRY_ID).AsInt(0);
  const int session = row.GetField(SZK_SESSION_ID_).AsInt(0);
  if (link <= 0 || session <= 0 || !ReadDeadline(row, view)) {
    return false;
  }
  view["link"] = link;
  view["session"] = session;
  return true;
}

const VisitorTable& Tokens() {
  static const VisitorTable table = {"token", "id, entry_id, session_id, timeout",
                                     ReadToken};
  return table;
}

/// Adds "column = value" to the condition when the parameter is given.
void Narrow(Parameters& parameters, const char* name, const std::string& column,
            std::string& condition) {
  long id = 0;
  if (parameters.Number(name, 1, kLargestId, id)) {
    condition += (condition.empty() ? "" : " AND ") + column + " = " + std::to_string(id);
  }
}

Answer List(Parameters& parameters) {
  std::string condition;
  Narrow(parameters, "link", SZK_ENTRY_ID, condition);
  Narrow(parameters, "session", SZK_SESSION_ID_, condition);
  return ListRows(Tokens(), condition, parameters);
}

Answer Get(Parameters& parameters) { return GetRow(Tokens(), parameters); }

Answer Delete(Parameters& parameters) {
  const long id = ReadId(parameters);
  Failure failure = parameters.failure();
  SharingDB* const database = failure ? nullptr : OpenDatabase(false, failure);
  if (database == nullptr) {
    return failure;
  }
  long deleted = 0;
  if (!CountChanges(*database, "DELETE FROM token WHERE id = " + std::to_string(id),
                    deleted)) {
    return StatementFailure(*database);
  }
  if (deleted == 0) {
    return NoSuchRow(Tokens(), id);
  }
  Json::Value data;
  data[SZK_ID_] = Json::Int64{id};
  return data;
}

Answer Purge(Parameters&) {
  Failure failure;
  SharingDB* const database = OpenDatabase(false, failure);
  if (database == nullptr) {
    return failure;
  }
  db::TokenDB tokens(*database);
  return tokens.PurgeExpired(1.0F) ? PurgeAnswer(*database) : StatementFailure(*database);
}

Answer Info(Parameters&) { return CountRows(Tokens()); }

}  // namespace

std::vector<Method> TokenMethods() {
  return {{"list", {"link", "session", kOffset, kLimit}, List},
          {"get", {SZK_ID_}, Get},
          {"delete", {SZK_ID_}, Delete},
          {"purge", {}, Purge},
          {"info", {}, Info}};
}

}  // namespace webapi
