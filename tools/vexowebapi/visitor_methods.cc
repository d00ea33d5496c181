// The methods of sessions and of tokens: rows that belong to visitors and have a
// deadline.

#include <ctime>
#include <limits>

#include "admin/queries.h"
#include "keys.h"
#include "methods.h"
#include "paging.h"
#include "utils.h"

namespace webapi {

namespace {

using namespace VEXO::sharing;  // the keys
using admin::Access;

// Row ids are positive numbers of the type int.
constexpr long kMaxId = std::numeric_limits<int>::max();

/// Row id and deadline, and whether the row has not expired.  False when the deadline is
/// not a number.
bool ReadDeadline(const db::Row& row, Json::Value& view) {
  const long deadline = row.GetField(SZK_TIMEOUT).AsTime(-1);
  if (deadline < 0) return false;
  view[SZK_ID_] = row.GetField(SZK_ID_).AsInt(0);
  view[SZK_TIMEOUT] = Json::Int64{deadline};
  view["alive"] = time(nullptr) < deadline;
  return true;
}

struct Sessions {
  static constexpr char kTable[] = "session";
  static constexpr char kColumns[] = "id, uid, ip, timeout";  // not the secret id

  static bool Read(const db::Row& row, Json::Value& view) {
    const unsigned int uid = row.GetField(SZK_UID_).AsUInt(UID_ERR);
    const std::string address = row.GetField(SZK_IP_).AsString("");
    if (address.empty() || !ReadDeadline(row, view)) return false;
    std::string user;
    if (uid != UID_ERR) UIDToUser(uid, user);  // a deleted user has no name
    view[SZK_UID_] = uid == UID_ERR ? Json::Value() : Json::Value(uid);
    view["user"] = user;
    view[SZK_IP_] = address;
    return true;
  }

  static std::string Filter(Parameters& parameters) {
    unsigned int uid = UID_ERR;
    return parameters.User("user", uid) ? "uid = " + std::to_string(uid) : "";
  }
};

struct Tokens {
  static constexpr char kTable[] = "token";
  static constexpr char kColumns[] = "id, entry_id, session_id, timeout";

  static bool Read(const db::Row& row, Json::Value& view) {
    const int link = row.GetField(SZK_ENTRY_ID).AsInt(0);
    const int session = row.GetField(SZK_SESSION_ID_).AsInt(0);
    if (link <= 0 || session <= 0 || !ReadDeadline(row, view)) return false;
    view["link"] = link;
    view["session"] = session;
    return true;
  }

  static std::string Filter(Parameters& parameters) {
    std::string condition;
    for (const auto& [name, column] :
         {std::pair("link", SZK_ENTRY_ID), std::pair("session", SZK_SESSION_ID_)}) {
      long id = 0;
      if (!parameters.Number(name, 1, kMaxId, id)) continue;
      if (!condition.empty()) condition += " AND ";
      condition += column + std::string(" = ") + std::to_string(id);
    }
    return condition;
  }
};

long ReadId(Parameters& parameters) {
  long id = 0;
  parameters.Require(SZK_ID_);
  parameters.Number(SZK_ID_, 1, kMaxId, id);
  return id;
}

Error NoSuchRow(const std::string& table, long id) {
  return {admin::kNoSuchObject, table + " not found: " + std::to_string(id), ""};
}

template <class Rows>
Response List(Call& call) {
  const std::string condition = Rows::Filter(call.parameters);
  const Page page = ReadPage(call.parameters);
  if (Error error = call.Open(Access::kRead)) return error;
  long total = 0;
  db::Result result;
  if (!admin::CountRows(call.database(), Rows::kTable, condition, total) ||
      !admin::SelectRows(call.database(), Rows::kColumns, Rows::kTable, condition,
                         page.offset, page.limit, result)) {
    return admin::DatabaseError(call.database());
  }
  Json::Value data = PageJson(page, total);
  db::Row row;
  while (result.NextRow(row)) {
    Json::Value view;
    if (Rows::Read(row, view)) {
      data["items"].append(view);
    } else {
      Json::Value unreadable;
      unreadable[SZK_ID_] = row.GetField(SZK_ID_).AsInt(0);
      data["unreadable"].append(unreadable);
    }
  }
  return data;
}

template <class Rows>
Response Get(Call& call) {
  const long id = ReadId(call.parameters);
  if (Error error = call.Open(Access::kRead)) return error;
  db::Result result;
  if (!admin::SelectRows(call.database(), Rows::kColumns, Rows::kTable, admin::WithId(id),
                         0, 1, result)) {
    return admin::DatabaseError(call.database());
  }
  db::Row row;
  if (!result.NextRow(row)) return NoSuchRow(Rows::kTable, id);
  Json::Value data;
  if (Rows::Read(row, data[Rows::kTable])) return data;
  return Error{admin::kUnreadableObject,
               std::string("unreadable row: ") + Rows::kTable + " " + std::to_string(id),
               "delete it"};
}

template <class Rows>
Response Delete(Call& call) {
  const long id = ReadId(call.parameters);
  if (Error error = call.Open(Access::kWrite)) return error;
  admin::Transaction transaction(call.database());
  const bool is_session = Rows::kTable == std::string("session");
  long revoked = 0;
  long deleted = 0;
  if (!transaction.good() ||
      (is_session && !admin::DeleteRows(call.database(), "token",
                                        "session_id = " + std::to_string(id), revoked)) ||
      !admin::DeleteRows(call.database(), Rows::kTable, admin::WithId(id), deleted)) {
    return admin::DatabaseError(call.database());
  }
  if (deleted == 0) return NoSuchRow(Rows::kTable, id);
  if (!transaction.Commit()) return admin::DatabaseError(call.database());
  Json::Value data;
  data[SZK_ID_] = Json::Int64{id};
  if (is_session) data["revoked"] = Json::Int64{revoked};
  return data;
}

template <class Rows>
Response Purge(Call& call) {
  if (Error error = call.Open(Access::kWrite)) return error;
  admin::PurgeScope scope;
  scope.links = false;
  scope.sessions = Rows::kTable == std::string("session");
  scope.tokens = !scope.sessions;
  admin::PurgeCounts counts;
  if (Error error = call.links().Purge(scope, counts)) return error;
  return PurgeJson(counts);
}

template <class Rows>
Response Info(Call& call) {
  if (Error error = call.Open(Access::kRead)) return error;
  admin::VisitorCounts counts;
  const long now = time(nullptr);
  if (Error error = CountVisitors(call.database(), Rows::kTable, now, counts)) {
    return error;
  }
  return VisitorCountsJson(counts);
}

}  // namespace

std::vector<Method> SessionMethods() {
  return {{"list", {"user", kOffset, kLimit}, List<Sessions>},
          {"get", {SZK_ID_}, Get<Sessions>},
          {"delete", {SZK_ID_}, Delete<Sessions>},
          {"purge", {}, Purge<Sessions>},
          {"info", {}, Info<Sessions>}};
}

std::vector<Method> TokenMethods() {
  return {{"list", {"link", "session", kOffset, kLimit}, List<Tokens>},
          {"get", {SZK_ID_}, Get<Tokens>},
          {"delete", {SZK_ID_}, Delete<Tokens>},
          {"purge", {}, Purge<Tokens>},
          {"info", {}, Info<Tokens>}};
}

}  // namespace webapi
