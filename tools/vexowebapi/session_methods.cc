#include "database.h"
#include "methods.h"
#include "session_db.h"
#include "utils.h"
#include "visitor_rows.h"

namespace webapi {

namespace {

using namespace VEXO::sharing;
using db::SharingDB;

bool ReadSession(const db::Row& row, Json::Value& view) {
  const unsigned int uid = row.GetField(SZK_UID_).AsUInt(UID_ERR);
  const std::string address = row.GetField(SZK_IP_).AsString("");
  if (address.empty() || !ReadDeadline(row, view)) {
    return false;
  }
  std::string user;
  if (uid != UID_ERR) {
    UIDToUser(uid, user);  // a user who is gone has no name
  }
  view[SZK_UID_] = uid == UID_ERR ? Json::Value() : Json::Value(uid);
  view["user"] = user;
  view[SZK_IP_] = address;
  return true;
}

const VisitorTable& Sessions() {
  static const VisitorTable table = {"session", "id, uid, ip, timeout", ReadSession};
  return table;
}

Answer List(Parameters& parameters) {
  unsigned int uid = UID_ERR;
  const bool by_user = parameters.User("user", uid);
  return ListRows(Sessions(), by_user ? "uid = " + std::to_string(uid) : "", parameters);
}

Answer Get(Parameters& parameters) { return GetRow(Sessions(), parameters); }

Answer Delete(Parameters& parameters) {
  const long id = ReadId(parameters);
  Failure failure = parameters.failure();
  SharingDB* const database = failure ? nullptr : OpenDatabase(false, failure);
  if (database == nullptr) {
    return failure;
  }
  const std::string number = std::to_string(id);
  Transaction transaction(*database);
  long revoked = 0;
  long deleted = 0;
  if (!transaction ||
      !CountChanges(*database, "DELETE FROM token WHERE session_id = " + number,
                    revoked) ||
      !CountChanges(*database, "DELETE FROM session WHERE id = " + number, deleted)) {
    return StatementFailure(*database);
  }
  if (deleted == 0) {
    return NoSuchRow(Sessions(), id);
  }
  if (!transaction.Commit()) {
    return StatementFailure(*database);
  }
  Json::Value data;
  data[SZK_ID_] = Json::Int64{id};
  data["revoked"] = Json::Int64{revoked};
  return data;
}

Answer Purge(Parameters&) {
  Failure failure;
  SharingDB* const database = OpenDatabase(false, failure);
  if (database == nullptr) {
    return failure;
  }
  db::SessionDB sessions(*database);
  return sessions.PurgeExpired(1.0F) ? PurgeAnswer(*database)
                                     : StatementFailure(*database);
}

Answer Info(Parameters&) { return CountRows(Sessions()); }

}  // namespace

std::vector<Method> SessionMethods() {
  return {{"list", {"user", kOffset, kLimit}, List},
          {"get", {SZK_ID_}, Get},
          {"delete", {SZK_ID_}, Delete},
          {"purge", {}, Purge},
          {"info", {}, Info}};
}

}  // namespace webapi
