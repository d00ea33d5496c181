#include "session.h"

#include <json/value.h>

#include <ctime>
#include <utility>

#include "internal/session_private.h"
#include "record/record_fields.h"
#include "utils/log.h"

namespace VEXO::sharing::record {

namespace {

const char kSource[] = "session";

}  // namespace

std::vector<std::string> SessionPrivate::GetFieldList() const {
  std::vector<std::string> values;  // an initializer list would copy the texts
  values.reserve(4);
  values.push_back(session_id_);
  values.push_back(std::to_string(uid_));  // no user is 4294967295, never -1
  values.push_back(ip_);
  values.push_back(ToString(timeout_));
  return values;
}

std::map<std::string, std::string> SessionPrivate::GetFieldMap() const {
  return PairFields({SZK_SESSION_ID_, SZK_UID_, SZK_IP_, SZK_TIMEOUT}, GetFieldList());
}

bool SessionPrivate::IsLegal() const {
  SHARING_REFUSE_IF(87, session_id_.empty(), "\"\" == session_id_");
  SHARING_REFUSE_IF(88, ip_.empty(), "\"\" == ip_");
  SHARING_REFUSE_IF(89, time(nullptr) >= timeout_, "time(NULL) >= timeout_");
  return true;
}

void SessionPrivate::ToJSON(Json::Value& out) const {
  if (!out.isObject()) {
    out = Json::Value(Json::objectValue);
  }
  out[SZK_SESSION_ID_] = session_id_;
  out[SZK_UID_] = uid_;
  out[SZK_IP_] = ip_;
  out[SZK_TIMEOUT] = Json::Value::Int64{timeout_};
}

bool SessionPrivate::FromRow(const db::Row& row) {
  id = ReadField(row, SZK_ID_).AsInt(0);
  session_id_ = ReadField(row, SZK_SESSION_ID_).AsString("");
  uid_ = ReadField(row, SZK_UID_).AsUInt(UID_ERR);
  ip_ = ReadField(row, SZK_IP_).AsString("");
  timeout_ = ReadField(row, SZK_TIMEOUT).AsTime(0);
  return IsLegal();
}

Session::Session() : d_(std::make_unique<SessionPrivate>()) {}
Session::~Session() = default;
Session::Session(const Session& other)
    : d_(std::make_unique<SessionPrivate>(*other.d_)) {}
Session::Session(Session&& other)
    : d_(std::make_unique<SessionPrivate>(std::move(*other.d_))) {}

Session& Session::operator=(const Session& other) {
  *d_ = *other.d_;
  return *this;
}

Session& Session::operator=(Session&& other) {
  if (this != &other) {
    *d_ = std::move(*other.d_);
  }
  return *this;
}

Object* Session::GetObject() { return d_.get(); }
const Object* Session::GetCObject() const { return d_.get(); }
std::vector<std::string> Session::GetFieldList() const { return d_->GetFieldList(); }
std::map<std::string, std::string> Session::GetFieldMap() const {
  return d_->GetFieldMap();
}
bool Session::IsLegal() const { return d_->IsLegal(); }
void Session::ToJSON(Json::Value& out) const { d_->ToJSON(out); }
bool Session::FromRow(const db::Row& row) { return d_->FromRow(row); }

int Session::get_id() const { return d_->id; }
void Session::set_id(int id) { d_->id = id; }
std::string Session::get_session_id() const { return d_->session_id_; }
void Session::set_session_id(const std::string& session_id) {
  d_->session_id_ = session_id;
}
unsigned int Session::get_uid() const { return d_->uid_; }
void Session::set_uid(unsigned int uid) { d_->uid_ = uid; }
std::string Session::get_ip() const { return d_->ip_; }
void Session::set_ip(const std::string& ip) { d_->ip_ = ip; }
long Session::get_timeout() const { return d_->timeout_; }
void Session::set_timeout(long timeout) { d_->timeout_ = timeout; }

}  // namespace VEXO::sharing::record
