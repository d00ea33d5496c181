#pragma once

#include <map>
#include <string>
#include <vector>

#include "entry.h"
#include "object.h"
#include "utils/lazy_json.h"

namespace VEXO::sharing::record {

/// The fields of Entry that are in the data column.
struct EntryData {
  bool enable_match_ip_ = true;
  Entry::ProtectType protect_type_ = Entry::PROTECT_NONE;
  std::string protect_title_;
  std::string protect_password_;
  std::string protect_password_salt_;
  Entry::PasswordEncryptAlgo protect_password_algo_ = Entry::ENCRYPT_ALGO_DEFAULT;
  std::vector<unsigned int> protect_uids_;
  std::vector<std::string> protect_extra_users_;
  std::vector<unsigned int> protect_gids_;
  std::vector<std::string> protect_extra_groups_;
  Entry::RedirectType redirect_type_ = Entry::REDIRECT_NONE;
  std::string redirect_uri_;
  LazyJson app_;
  LazyJson private_data_ = LazyJson::FromObject("{}");
};

/// The fields and rules of Entry.
class EntryPrivate : public Object, public EntryData {
 public:
  std::vector<std::string> GetFieldList() const override;
  std::map<std::string, std::string> GetFieldMap() const override;
  bool IsLegal() const override;
  void ToJSON(Json::Value& out) const override;
  bool FromRow(const db::Row& row) override;

  bool IsValid() const;
  void SetProtectPassword(const std::string& password, bool need_hash,
                          Entry::PasswordEncryptAlgo algo);
  bool IsPasswordValid(const std::string& password) const;
  std::vector<unsigned int> ProtectUids() const;
  void SetProtectUids(const std::vector<unsigned int>& uids);
  std::vector<std::string> ProtectUsers() const;
  void SetProtectUsers(const std::vector<std::string>& names);
  std::vector<unsigned int> ProtectGids() const;
  void SetProtectGids(const std::vector<unsigned int>& gids);
  std::vector<std::string> ProtectGroups() const;
  void SetProtectGroups(const std::vector<std::string>& names);
  std::string OwnerUser() const;
  bool SetOwnerUser(const std::string& name);
  std::string StartAtText(const char* format) const;
  std::string ExpireAtText(const char* format) const;
  void SetStartAtText(const std::string& text, const char* format);
  void SetExpireAtText(const std::string& text, const char* format);
  void SetExpireTimes(int expire_times);
  void IncreaseUseCount();

  std::string hash_;
  std::string project_name_;
  bool enabled_ = true;
  unsigned int owner_uid_ = UID_ERR;
  long start_at_ = 0;
  long expire_at_ = 0;
  int expire_times_ = 0;
  int use_count_ = 0;
  bool auto_gc_ = true;
};

}  // namespace VEXO::sharing::record
