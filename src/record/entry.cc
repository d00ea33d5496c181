#include "entry.h"

#include <json/value.h>

#include <ctime>
#include <limits>
#include <utility>
#include <vexo/random.hpp>

#include "internal/entry_private.h"
#include "record/entry_data.h"
#include "record/record_fields.h"
#include "utils.h"
#include "utils/log.h"
#include "utils/wipe.h"

namespace VEXO::sharing::record {

namespace {

const char kSource[] = "entry";

const char kJsonTimeFormat[] = "%Y-%m-%d %H:%M:%S";
constexpr size_t kTimeTextSize = 128;

using NameToId = bool (*)(const std::string& name, unsigned int& id);
using IdToName = bool (*)(const unsigned int& id, std::string& name);

/// Divides names into the ids of those that are found and the names of those that are
/// not.
void SplitNames(const std::vector<std::string>& names, NameToId to_id,
                std::vector<unsigned int>& ids, std::vector<std::string>& extra_names) {
  std::vector<unsigned int> resolved;
  std::vector<std::string> unresolved;
  for (const std::string& name : names) {
    unsigned int id = UID_ERR;
    if (to_id(name, id)) {
      resolved.push_back(id);
    } else {
      unresolved.push_back(name);
    }
  }
  ids = std::move(resolved);
  extra_names = std::move(unresolved);
}

/// The ids, and those of the names that are found now.
std::vector<unsigned int> AllIds(const std::vector<unsigned int>& ids,
                                 const std::vector<std::string>& extra_names,
                                 NameToId to_id) {
  std::vector<unsigned int> all = ids;
  for (const std::string& name : extra_names) {
    unsigned int id = UID_ERR;
    if (to_id(name, id)) {
      all.push_back(id);
    }
  }
  return all;
}

/// The names of the ids that are found, and the names without ids.
std::vector<std::string> AllNames(const std::vector<unsigned int>& ids,
                                  const std::vector<std::string>& extra_names,
                                  IdToName to_name) {
  std::vector<std::string> all;
  for (const unsigned int id : ids) {
    std::string name;
    if (to_name(id, name)) {
      all.push_back(name);
    }
  }
  all.insert(all.end(), extra_names.begin(), extra_names.end());
  return all;
}

std::string TimeText(long seconds, const char* format) {
  const time_t moment = seconds;
  struct tm local = {};
  char text[kTimeTextSize];
  if (seconds == 0 || format == nullptr || localtime_r(&moment, &local) == nullptr) {
    return "";
  }
  return {text, strftime(text, sizeof(text), format, &local)};
}

long TimeFromText(const std::string& text, const char* format) {
  struct tm local = {};
  if (text.empty() || format == nullptr ||
      strptime(text.c_str(), format, &local) == nullptr) {
    return 0;
  }
  const time_t now = time(nullptr);
  struct tm current = {};
  localtime_r(&now, &current);
  local.tm_isdst = current.tm_isdst;
  return mktime(&local);
}

}  // namespace

std::vector<std::string> EntryPrivate::GetFieldList() const {
  std::vector<std::string> values;  // an initializer list would copy the texts
  values.reserve(10);
  values.push_back(hash_);
  values.push_back(project_name_);
  values.push_back(ToString(enabled_));
  // unsigned: no owner is 4294967295, never -1
  values.push_back(std::to_string(owner_uid_));
  values.push_back(ToString(start_at_));
  values.push_back(ToString(expire_at_));
  values.push_back(ToString(expire_times_));
  values.push_back(ToString(use_count_));
  values.push_back(ToString(auto_gc_));
  values.push_back(DataText(*this));
  return values;
}

std::map<std::string, std::string> EntryPrivate::GetFieldMap() const {
  return PairFields(
      {SZK_HASH, SZK_PROJECT_NAME, SZK_ENABLED_, SZK_OWNER_UID, SZK_START_AT,
       SZK_EXPIRE_AT, SZK_EXPIRE_TIMES, SZK_USE_COUNT, SZK_AUTO_GC, SZK_DATA},
      GetFieldList());
}

bool EntryPrivate::FromRow(const db::Row& row) {
  id = ReadField(row, SZK_ID_).AsInt(0);
  hash_ = ReadField(row, SZK_HASH).AsString("");
  project_name_ = ReadField(row, SZK_PROJECT_NAME).AsString("");
  enabled_ = ReadField(row, SZK_ENABLED_).AsBool(true);
  owner_uid_ = ReadField(row, SZK_OWNER_UID).AsUInt(UID_ERR);
  start_at_ = ReadField(row, SZK_START_AT).AsTime(0);
  expire_at_ = ReadField(row, SZK_EXPIRE_AT).AsTime(0);
  expire_times_ = ReadField(row, SZK_EXPIRE_TIMES).AsInt(0);
  use_count_ = ReadField(row, SZK_USE_COUNT).AsInt(0);
  auto_gc_ = ReadField(row, SZK_AUTO_GC).AsInt(0) != 0;

  app_ = LazyJson();  // a record with unreadable data is never legal
  return ReadData(ReadField(row, SZK_DATA).AsString(""), *this) && IsLegal();
}

void EntryPrivate::ToJSON(Json::Value& out) const {
  out = Json::Value(Json::objectValue);
  out[SZK_HASH] = hash_;
  out[SZK_PROJECT_NAME] = project_name_;
  out[SZK_ENABLED_] = enabled_;
  out[SZK_OWNER_USER] = OwnerUser();
  out[SZK_START_AT] = TimeText(start_at_, kJsonTimeFormat);
  out[SZK_EXPIRE_AT] = TimeText(expire_at_, kJsonTimeFormat);
  out[SZK_EXPIRE_TIMES] = expire_times_;
  out[SZK_USE_COUNT] = use_count_;
  out[SZK_AUTO_GC] = auto_gc_;
  out[SZK_ENABLE_MATCH_IP] = enable_match_ip_;
  out[SZK_PROTECT_TITLE] = protect_title_;
  out[SZK_PROTECT_TYPE] = ProtectTypeText(protect_type_);
  out[SZK_PROTECT_USERS] = JsonArray(ProtectUsers());
  out[SZK_PROTECT_GROUPS] = JsonArray(ProtectGroups());
  out[SZK_REDIRECT_TYPE] = RedirectTypeText(redirect_type_);
  out[SZK_REDIRECT_URI] = redirect_uri_;
  out[SZK_APP] = app_.Get();
}

bool EntryPrivate::IsLegal() const {
  SHARING_REFUSE_IF(332, !blValid_, "!blValid_");
  SHARING_REFUSE_IF(333, hash_.empty(), "\"\" == hash_");
  SHARING_REFUSE_IF(334, project_name_.empty(), "\"\" == project_name_");
  SHARING_REFUSE_IF(335, owner_uid_ == UID_ERR, "UID_ERR == owner_uid_");
  SHARING_REFUSE_IF(336, !app_.IsObject(), "! app_.isObject()");
  SHARING_REFUSE_IF(337, !private_data_.IsObject(), "! private_data_.isObject()");
  SHARING_REFUSE_IF(
      338, protect_type_ == Entry::PROTECT_PASSWORD && protect_password_.empty(),
      "Entry::PROTECT_PASSWORD == protect_type_ && \"\" == protect_password_");
  SHARING_REFUSE_IF(339,
                    protect_type_ == Entry::PROTECT_PASSWORD &&
                        protect_password_algo_ == Entry::ENCRYPT_ALGO_DEFAULT &&
                        protect_password_salt_.empty(),
                    "Entry::PROTECT_PASSWORD == protect_type_ && "
                    "Entry::ENCRYPT_ALGO_DEFAULT == protect_password_algo_ && "
                    "\"\" == protect_password_salt_");
  SHARING_REFUSE_IF(342,
                    protect_type_ == Entry::PROTECT_USER && protect_uids_.empty() &&
                        protect_extra_users_.empty() && protect_gids_.empty() &&
                        protect_extra_groups_.empty(),
                    "Entry::PROTECT_USER == protect_type_ && "
                    "(0 == protect_uids_.size() + protect_extra_users_.size() + "
                    "protect_gids_.size() + protect_extra_groups_.size())");
  return true;
}

bool EntryPrivate::IsValid() const {
  const long now = time(nullptr);
  SHARING_REFUSE_IF(355, !IsLegal(), "! IsLegal()");
  SHARING_REFUSE_IF(356, !enabled_, "! enabled_");
  SHARING_REFUSE_IF(357, start_at_ > 0 && start_at_ > now,
                    "0 < start_at_ && start_at_ > timeNow");
  // Both limits are inclusive, unlike those of the purge: in the last second and after
  // the last use the link is still valid.
  SHARING_REFUSE_IF(358, expire_at_ > 0 && expire_at_ < now,
                    "0 < expire_at_ && timeNow > expire_at_");
  SHARING_REFUSE_IF(359, expire_times_ > 0 && use_count_ > expire_times_,
                    "0 < expire_times_ && use_count_ > expire_times_");
  return true;
}

void EntryPrivate::SetProtectPassword(const std::string& password, bool need_hash,
                                      Entry::PasswordEncryptAlgo algo) {
  std::string stored;
  if (!need_hash) {
    stored = password;
    blValid_ = true;
  } else if (algo == Entry::ENCRYPT_ALGO_MD5) {
    blValid_ = MD5HashPassword(password, stored);
  } else if (algo == Entry::ENCRYPT_ALGO_DEFAULT) {
    static RANDOM::VEXORandom generator;
    blValid_ = generator.getString(RANDOM::POOL_ALPHA_NUMERIC, SHARING_PASS_HASH_LENGTH,
                                   protect_password_salt_) &&
               Sha1WithSaltHashPassword(password, protect_password_salt_, stored);
  } else {
    blValid_ = false;
  }
  protect_password_ = std::move(stored);
  protect_password_algo_ = algo;
}

bool EntryPrivate::IsPasswordValid(const std::string& password) const {
  if (protect_type_ != Entry::PROTECT_PASSWORD) return true;
  std::string hash;
  const bool hashed =
      protect_password_algo_ == Entry::ENCRYPT_ALGO_DEFAULT
          ? Sha1WithSaltHashPassword(password, protect_password_salt_, hash)
          : MD5HashPassword(password, hash);
  const WipeAtEnd wipe(hash.data(), hash.size());
  return hashed && hash == protect_password_;
}

std::vector<unsigned int> EntryPrivate::ProtectUids() const {
  return AllIds(protect_uids_, protect_extra_users_, UserToUID);
}

std::vector<std::string> EntryPrivate::ProtectUsers() const {
  return AllNames(protect_uids_, protect_extra_users_, UIDToUser);
}

void EntryPrivate::SetProtectUids(const std::vector<unsigned int>& uids) {
  protect_uids_ = uids;
  protect_extra_users_.clear();
}

void EntryPrivate::SetProtectUsers(const std::vector<std::string>& names) {
  SplitNames(names, UserToUID, protect_uids_, protect_extra_users_);
}

std::vector<unsigned int> EntryPrivate::ProtectGids() const {
  return AllIds(protect_gids_, protect_extra_groups_, GroupToGID);
}

std::vector<std::string> EntryPrivate::ProtectGroups() const {
  return AllNames(protect_gids_, protect_extra_groups_, GIDToGroup);
}

void EntryPrivate::SetProtectGids(const std::vector<unsigned int>& gids) {
  protect_gids_ = gids;
  protect_extra_groups_.clear();
}

void EntryPrivate::SetProtectGroups(const std::vector<std::string>& names) {
  SplitNames(names, GroupToGID, protect_gids_, protect_extra_groups_);
}

std::string EntryPrivate::OwnerUser() const {
  std::string name;
  UIDToUser(owner_uid_, name);  // empty for a deleted account
  return name;
}

bool EntryPrivate::SetOwnerUser(const std::string& name) {
  unsigned int uid = UID_ERR;
  const bool found = UserToUID(name, uid);
  owner_uid_ = uid;
  return found;
}

std::string EntryPrivate::StartAtText(const char* format) const {
  return TimeText(start_at_, format);
}

std::string EntryPrivate::ExpireAtText(const char* format) const {
  return TimeText(expire_at_, format);
}

void EntryPrivate::SetStartAtText(const std::string& text, const char* format) {
  start_at_ = TimeFromText(text, format);
}

void EntryPrivate::SetExpireAtText(const std::string& text, const char* format) {
  expire_at_ = TimeFromText(text, format);
}

void EntryPrivate::SetExpireTimes(int expire_times) {
  if (expire_times_ == 0 && expire_times != 0) {
    use_count_ = 0;
  }
  expire_times_ = expire_times;
}

void EntryPrivate::IncreaseUseCount() {
  if (use_count_ < std::numeric_limits<int>::max()) {
    ++use_count_;
  }
}

Entry::Entry() : d_(std::make_unique<EntryPrivate>()) {}
Entry::~Entry() = default;
Entry::Entry(const Entry& other) : d_(std::make_unique<EntryPrivate>(*other.d_)) {}
Entry::Entry(Entry&& other) : d_(std::make_unique<EntryPrivate>(std::move(*other.d_))) {}

Entry& Entry::operator=(const Entry& other) {
  *d_ = *other.d_;
  return *this;
}

Entry& Entry::operator=(Entry&& other) {
  if (this != &other) {
    *d_ = std::move(*other.d_);
  }
  return *this;
}

Object* Entry::GetObject() { return d_.get(); }
const Object* Entry::GetCObject() const { return d_.get(); }
std::vector<std::string> Entry::GetFieldList() const { return d_->GetFieldList(); }
std::map<std::string, std::string> Entry::GetFieldMap() const {
  return d_->GetFieldMap();
}
bool Entry::IsLegal() const { return d_->IsLegal(); }
void Entry::ToJSON(Json::Value& out) const { d_->ToJSON(out); }
bool Entry::FromRow(const db::Row& row) { return d_->FromRow(row); }

bool Entry::IsValid() const { return d_->IsValid(); }

int Entry::get_id() const { return d_->id; }
void Entry::set_id(int id) { d_->id = id; }
std::string Entry::get_hash() const { return d_->hash_; }
void Entry::set_hash(std::string hash) { d_->hash_ = std::move(hash); }
std::string Entry::get_project_name() const { return d_->project_name_; }
void Entry::set_project_name(const std::string& project_name) {
  d_->project_name_ = project_name;
}
bool Entry::get_enabled() const { return d_->enabled_; }
void Entry::set_enabled(const bool& enabled) { d_->enabled_ = enabled; }

unsigned int Entry::get_owner_uid() const { return d_->owner_uid_; }
void Entry::set_owner_uid(unsigned int uid) { d_->owner_uid_ = uid; }
std::string Entry::get_owner_user() const { return d_->OwnerUser(); }
int Entry::set_owner_user(const std::string& name) {
  return d_->SetOwnerUser(name) ? 1 : 0;
}

long Entry::get_start_at() const { return d_->start_at_; }
void Entry::set_start_at(long start_at) { d_->start_at_ = start_at; }
long Entry::get_expire_at() const { return d_->expire_at_; }
void Entry::set_expire_at(long expire_at) { d_->expire_at_ = expire_at; }
std::string Entry::get_start_at_str(const char* format) const {
  return d_->StartAtText(format);
}
std::string Entry::get_expire_at_str(const char* format) const {
  return d_->ExpireAtText(format);
}
void Entry::set_start_at_str(const std::string& text, const char* format) {
  d_->SetStartAtText(text, format);
}
void Entry::set_expire_at_str(const std::string& text, const char* format) {
  d_->SetExpireAtText(text, format);
}

int Entry::get_expire_times() const { return d_->expire_times_; }
void Entry::set_expire_times(const int& expire_times) {
  d_->SetExpireTimes(expire_times);
}
int Entry::get_use_count() const { return d_->use_count_; }
void Entry::set_use_count(const int& use_count) { d_->use_count_ = use_count; }
void Entry::inc_use_count() { d_->IncreaseUseCount(); }

bool Entry::get_auto_gc() const { return d_->auto_gc_; }
void Entry::set_auto_gc(const bool& auto_gc) { d_->auto_gc_ = auto_gc; }
bool Entry::get_enable_match_ip() const { return d_->enable_match_ip_; }
void Entry::set_enable_match_ip(bool enable_match_ip) {
  d_->enable_match_ip_ = enable_match_ip;
}

Entry::ProtectType Entry::get_protect_type() const { return d_->protect_type_; }
void Entry::set_protect_type(ProtectType protect_type) {
  d_->protect_type_ = protect_type;
}
std::string Entry::get_protect_title() const { return d_->protect_title_; }
void Entry::set_protect_title(const std::string& protect_title) {
  d_->protect_title_ = protect_title;
}

std::string Entry::get_protect_password() const { return d_->protect_password_; }
Entry::PasswordEncryptAlgo Entry::get_protect_password_algo() const {
  return d_->protect_password_algo_;
}
std::string Entry::get_protect_password_salt() const {
  return d_->protect_password_salt_;
}
void Entry::set_protect_password(const std::string& password, bool need_hash,
                                 PasswordEncryptAlgo algo) {
  d_->SetProtectPassword(password, need_hash, algo);
}
bool Entry::IsPasswordValid(const std::string& password) const {
  return d_->IsPasswordValid(password);
}

std::vector<unsigned int> Entry::get_protect_uids() const { return d_->ProtectUids(); }
void Entry::set_protect_uids(const std::vector<unsigned int>& uids) {
  d_->SetProtectUids(uids);
}
std::vector<std::string> Entry::get_protect_users() const { return d_->ProtectUsers(); }
void Entry::set_protect_users(const std::vector<std::string>& names) {
  d_->SetProtectUsers(names);
}
std::vector<unsigned int> Entry::get_protect_gids() const { return d_->ProtectGids(); }
void Entry::set_protect_gids(const std::vector<unsigned int>& gids) {
  d_->SetProtectGids(gids);
}
std::vector<std::string> Entry::get_protect_groups() const { return d_->ProtectGroups(); }
void Entry::set_protect_groups(const std::vector<std::string>& names) {
  d_->SetProtectGroups(names);
}

Entry::RedirectType Entry::get_redirect_type() const { return d_->redirect_type_; }
void Entry::set_redirect_type(RedirectType redirect_type) {
  d_->redirect_type_ = redirect_type;
}
std::string Entry::get_redirect_uri() const { return d_->redirect_uri_; }
void Entry::set_redirect_uri(const std::string& redirect_uri) {
  d_->redirect_uri_ = redirect_uri;
}

Json::Value Entry::get_app() const { return d_->app_.Get(); }
void Entry::set_app(const Json::Value& app) { d_->app_ = app; }
Json::Value Entry::get_private_data() const { return d_->private_data_.Get(); }
void Entry::set_private_data(const Json::Value& private_data) {
  d_->private_data_ = private_data;
}

}  // namespace VEXO::sharing::record
