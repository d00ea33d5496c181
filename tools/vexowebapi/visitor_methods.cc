// The methods of sessions and of tokens: rows that belong to visitors and have a
// deadline.

#include <ctime>
#include <limits>

#include "admin/accounts.h"
#include "admin/queries.h"
#include "call.h"
#include "keys.h"

namespace webapi {

namespace {

using namespace VEXO::sharing;  // the keys
using admin::Access;

// Row ids are positive numbers of the type int.
constexpr long kMaxId = std::numeric_limits<int>::max();

/// The table of sessions.  Read adds the members that only sessions have; false, with the
/// view unchanged, for an unreadable row.  Filter reads the condition of a list.
struct Sessions {
  static constexpr char kTable[] = "session";
  static constexpr char kColumns[] = "id, uid, ip, timeout";  // not the secret id

  static bool Read(const db::Row& row, Json::Value& view) {
    const unsigned int uid = row.GetField(SZK_UID_).AsUInt(UID_ERR);
    const std::string address = row.GetField(SZK_IP_).AsString("");
    if (address.empty()) return false;
    // A deleted user has no name.
    const std::string user = uid == UID_ERR ? "" : admin::Users().Name(uid);
    view[SZK_UID_] = uid == UID_ERR ? Json::Value() : Json::Value(uid);
    view["user"] = user;
    view[SZK_IP_] = address;
    return true;
  }

  static std::string Filter(Parameters& parameters) {
    const std::optional<unsigned int> uid = parameters.User("user");
    return uid ? "uid = " + std::to_string(*uid) : "";
  }
};

/// The same for tokens.
struct Tokens {
  static constexpr char kTable[] = "token";
  static constexpr char kColumns[] = "id, entry_id, session_id, timeout";

  static bool Read(const db::Row& row, Json::Value& view) {
    const int link = row.GetField(SZK_ENTRY_ID).AsInt(0);
    const int session = row.GetField(SZK_SESSION_ID_).AsInt(0);
    if (link <= 0 || session <= 0) return false;
    view["link"] = link;
    view["session"] = session;
    return true;
  }

  static std::string Filter(Parameters& parameters) {
    const std::optional<long> link = parameters.Number("link", 1, kMaxId);
    const std::optional<long> session = parameters.Number("session", 1, kMaxId);
    std::string condition = link ? "entry_id = " + std::to_string(*link) : "";
    if (link && session) condition += " AND ";
    if (session) condition += "session_id = " + std::to_string(*session);
    return condition;
  }
};

long ReadId(Parameters& parameters) {
  parameters.Required(SZK_ID_);
  return parameters.Number(SZK_ID_, 1, kMaxId).value_or(0);
}

Error NoSuchRow(const std::string& table, long id) {
  return {admin::kNoSuchObject, table + " not found: " + std::to_string(id), ""};
}

/// Makes the view of a row: only its id, and false, when the row cannot be read.
template <class Rows>
bool ReadRow(const db::Row& row, Json::Value& view) {
  const long deadline = row.GetField(SZK_TIMEOUT).AsTime(-1);  // -1: not a number
  view[SZK_ID_] = row.GetField(SZK_ID_).AsInt(0);
  if (deadline < 0 || !Rows::Read(row, view)) return false;
  view[SZK_TIMEOUT] = Json::Int64{deadline};
  view["alive"] = time(nullptr) < deadline;
  return true;
}

template <class Rows>
Response List(Call& call) {
  const std::string condition = Rows::Filter(call.parameters);
  const Page page(call.parameters);
  if (Error error = call.Open(Access::kRead)) return error;
  long total = 0;
  db::Result result;
  if (!admin::CountRows(call.database(), Rows::kTable, condition, total) ||
      !admin::SelectRows(call.database(), Rows::kColumns, Rows::kTable, condition,
                         page.offset, page.limit, result)) {
    return admin::DatabaseError(call.database());
  }
  Json::Value data = page.ToJson(total);
  db::Row row;
  while (result.NextRow(row)) {
    Json::Value view;
    const bool readable = ReadRow<Rows>(row, view);
    data[readable ? "items" : "unreadable"].append(view);
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
  if (ReadRow<Rows>(row, data[Rows::kTable])) return data;
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
  if (Error error = call.links->Purge(scope, counts)) return error;
  return PurgeJson(counts);
}

template <class Rows>
Response Info(Call& call) {
  if (Error error = call.Open(Access::kRead)) return error;
  admin::VisitorCounts counts;
  const Error error = CountVisitors(call.database(), Rows::kTable, time(nullptr), counts);
  return error ? Response(error) : Response(VisitorCountsJson(counts));
}

template <class Rows>
Methods VisitorMethods() {
  return {{"list", List<Rows>},
          {"get", Get<Rows>},
          {"delete", Delete<Rows>},
          {"purge", Purge<Rows>},
          {"info", Info<Rows>}};
}

}  // namespace

Methods SessionMethods() { return VisitorMethods<Sessions>(); }
Methods TokenMethods() { return VisitorMethods<Tokens>(); }

}  // namespace webapi
