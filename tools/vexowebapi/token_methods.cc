#include "methods.h"
#include "token_db.h"
#include "visitor_rows.h"

namespace webapi {

namespace {

using namespace VEXO::sharing;

bool ReadToken(const db::Row& row, Json::Value& view) {
  const int link = row.GetField(SZK_ENTRY_ID).AsInt(0);
  const int session = row.GetField(SZK_SESSION_ID_).AsInt(0);
  if (link <= 0 || session <= 0 || !ReadDeadline(row, view)) return false;
  view["link"] = link;
  view["session"] = session;
  return true;
}

const VisitorTable& Tokens() {
  static const VisitorTable table = {"token", "id, entry_id, session_id, timeout",
                                     ReadToken, false};
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

Answer Delete(Parameters& parameters) { return DeleteRow(Tokens(), parameters); }
Answer Purge(Parameters& parameters) { return PurgeRows<db::TokenDB>(parameters); }
Answer Info(Parameters& parameters) { return CountRows(Tokens(), parameters); }

}  // namespace

std::vector<Method> TokenMethods() {
  return {{"list", {"link", "session", kOffset, kLimit}, List},
          {"get", {SZK_ID_}, Get},
          {"delete", {SZK_ID_}, Delete},
          {"purge", {}, Purge},
          {"info", {}, Info}};
}

}  // namespace webapi
