#include "methods.h"
#include "session_db.h"
#include "utils.h"
#include "visitor_rows.h"

namespace webapi {

namespace {

using namespace VEXO::sharing;

bool ReadSession(const db::Row& row, Json::Value& view) {
  const unsigned int uid = row.GetField(SZK_UID_).AsUInt(UID_ERR);
  const std::string address = row.GetField(SZK_IP_).AsString("");
  if (address.empty() || !ReadDeadline(row, view)) return false;
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
  static const VisitorTable table = {"session", "id, uid, ip, timeout", ReadSession,
                                     true};
  return table;
}

Answer List(Parameters& parameters) {
  unsigned int uid = UID_ERR;
  const bool by_user = parameters.User("user", uid);
  return ListRows(Sessions(), by_user ? "uid = " + std::to_string(uid) : "", parameters);
}

Answer Get(Parameters& parameters) { return GetRow(Sessions(), parameters); }

Answer Delete(Parameters& parameters) { return DeleteRow(Sessions(), parameters); }
Answer Purge(Parameters& parameters) { return PurgeRows<db::SessionDB>(parameters); }
Answer Info(Parameters& parameters) { return CountRows(Sessions(), parameters); }

}  // namespace

std::vector<Method> SessionMethods() {
  return {{"list", {"user", kOffset, kLimit}, List},
          {"get", {SZK_ID_}, Get},
          {"delete", {SZK_ID_}, Delete},
          {"purge", {}, Purge},
          {"info", {}, Info}};
}

}  // namespace webapi
