#include "token.h"

#include <json/value.h>

#include <ctime>
#include <utility>

#include "internal/token_private.h"
#include "record/record_fields.h"
#include "utils/log.h"

namespace VEXO::sharing::record {

namespace {

const char kSource[] = "token";

}  // namespace

std::vector<std::string> TokenPrivate::GetFieldList() const {
  std::vector<std::string> values;  // an initializer list would copy the texts
  values.reserve(3);
  values.push_back(ToString(entry_id_));
  values.push_back(ToString(session_id_));
  values.push_back(ToString(timeout_));
  return values;
}

std::map<std::string, std::string> TokenPrivate::GetFieldMap() const {
  return PairFields({SZK_ENTRY_ID, SZK_SESSION_ID_, SZK_TIMEOUT}, GetFieldList());
}

bool TokenPrivate::IsLegal() const {
  SHARING_REFUSE_IF(81, entry_id_ == 0, "0 == entry_id_");
  SHARING_REFUSE_IF(82, session_id_ == 0, "0 == session_id_");
  SHARING_REFUSE_IF(83, time(nullptr) >= timeout_, "time(NULL) >= timeout_");
  return true;
}

void TokenPrivate::ToJSON(Json::Value& out) const {
  if (!out.isObject()) {
    out = Json::Value(Json::objectValue);
  }
  out[SZK_ENTRY_ID] = entry_id_;
  out[SZK_SESSION_ID_] = session_id_;
  out[SZK_TIMEOUT] = Json::Value::Int64{timeout_};
}

bool TokenPrivate::FromRow(const db::Row& row) {
  id = ReadField(row, SZK_ID_).AsInt(0);
  entry_id_ = ReadField(row, SZK_ENTRY_ID).AsInt(0);
  session_id_ = ReadField(row, SZK_SESSION_ID_).AsInt(0);
  timeout_ = ReadField(row, SZK_TIMEOUT).AsTime(0);
  return IsLegal();
}

Token::Token() : d_(std::make_unique<TokenPrivate>()) {}
Token::~Token() = default;
Token::Token(const Token& other) : d_(std::make_unique<TokenPrivate>(*other.d_)) {}
Token::Token(Token&& other) : d_(std::make_unique<TokenPrivate>(std::move(*other.d_))) {}

Token& Token::operator=(const Token& other) {
  *d_ = *other.d_;
  return *this;
}

Token& Token::operator=(Token&& other) {
  if (this != &other) {
    *d_ = std::move(*other.d_);
  }
  return *this;
}

Object* Token::GetObject() { return d_.get(); }
const Object* Token::GetCObject() const { return d_.get(); }
std::vector<std::string> Token::GetFieldList() const { return d_->GetFieldList(); }
std::map<std::string, std::string> Token::GetFieldMap() const {
  return d_->GetFieldMap();
}
bool Token::IsLegal() const { return d_->IsLegal(); }
void Token::ToJSON(Json::Value& out) const { d_->ToJSON(out); }
bool Token::FromRow(const db::Row& row) { return d_->FromRow(row); }

int Token::get_id() const { return d_->id; }
void Token::set_id(int id) { d_->id = id; }
int Token::get_entry_id() const { return d_->entry_id_; }
void Token::set_entry_id(int entry_id) { d_->entry_id_ = entry_id; }
int Token::get_session_id() const { return d_->session_id_; }
void Token::set_session_id(int session_id) { d_->session_id_ = session_id; }
long Token::get_timeout() const { return d_->timeout_; }
void Token::set_timeout(long timeout) { d_->timeout_ = timeout; }

}  // namespace VEXO::sharing::record
