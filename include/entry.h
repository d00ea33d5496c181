#pragma once

#include <json/value.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "keys.h"
#include "object.h"

namespace VEXO::sharing::record {

class EntryPrivate;

/// One sharing link: the hash that stands in its URL, the application and the user that
/// own it, when and how often it may be used, who is admitted, and two JSON objects of
/// the application.  A value type: copies share nothing, and a record moved from can be
/// used again.  Not for use by two threads at once.
class SHARING_EXPORT Entry {
 public:
  enum ProtectType : int { PROTECT_NONE = 0, PROTECT_PASSWORD = 1, PROTECT_USER = 2 };
  /// What the owning application does with `redirect_uri`.
  enum RedirectType : int {
    REDIRECT_NONE = 0,
    REDIRECT_URLPARAM = 1,
    REDIRECT_ALWAYS = 2
  };
  /// Form of the stored password: salted SHA-1, or plain MD5.
  enum PasswordEncryptAlgo : int { ENCRYPT_ALGO_DEFAULT = 0, ENCRYPT_ALGO_MD5 = 1 };

  Entry();
  virtual ~Entry();
  Entry(const Entry& other);
  Entry(Entry&& other);  // allocates, so it is not noexcept
  Entry& operator=(const Entry& other);
  Entry& operator=(Entry&& other);

  /// The record as the stores take it; owned by this handle.
  Object* GetObject();
  const Object* GetCObject() const;

  /// Values of the stored columns in table order, without the id.
  std::vector<std::string> GetFieldList() const;
  std::map<std::string, std::string> GetFieldMap() const;

  /// Whether the record may be stored: hash, project, owner and `app` are set, both JSON
  /// values are objects, and a protected link says against whom.  Logs the reason why
  /// not.
  bool IsLegal() const;
  /// Whether a visitor may use the link now: legal, enabled, started, not expired, uses
  /// left.  Valid to the end of the second `expire_at`, and while the uses do not exceed
  /// the limit.  Logs the reason why not.
  bool IsValid() const;
  /// Replaces `out` by the public view.  Id, password, salt, raw id lists and private
  /// data are never part of it.
  void ToJSON(Json::Value& out) const;
  /// Fills the record from a row of the table "entry"; false, with the id set, when the
  /// data column does not read or the record is not legal.  A global C++ locale other
  /// than the classic one is put aside for the moment of the parsing, for the whole
  /// process.
  bool FromRow(const db::Row& row);

  int get_id() const;
  void set_id(int id);
  std::string get_hash() const;
  void set_hash(std::string hash);
  std::string get_project_name() const;
  void set_project_name(const std::string& project_name);
  bool get_enabled() const;
  void set_enabled(const bool& enabled);

  unsigned int get_owner_uid() const;
  void set_owner_uid(unsigned int uid);
  /// Name of the owner; empty when the id does not resolve.
  std::string get_owner_user() const;
  /// Other than 0 when the name resolves; the owner becomes UID_ERR when it does not.
  int set_owner_user(const std::string& name);

  /// Seconds since the epoch; 0 means that the link has no start.
  long get_start_at() const;
  void set_start_at(long start_at);
  /// Seconds since the epoch; 0 means that the link never expires.
  long get_expire_at() const;
  void set_expire_at(long expire_at);
  /// Local time in a strftime(3) format; empty for 0, or when it is 128 bytes or longer.
  std::string get_start_at_str(const char* format) const;
  std::string get_expire_at_str(const char* format) const;
  /// Local time in a strptime(3) format; 0 when the text is empty or does not parse.
  void set_start_at_str(const std::string& text, const char* format);
  void set_expire_at_str(const std::string& text, const char* format);

  /// The most uses; 0 means no limit.
  int get_expire_times() const;
  /// Going from no limit to a limit begins the count anew.
  void set_expire_times(const int& expire_times);
  int get_use_count() const;
  void set_use_count(const int& use_count);
  /// One use more; the largest int stays.
  void inc_use_count();

  /// Whether the general purge may delete the link.
  bool get_auto_gc() const;
  void set_auto_gc(const bool& auto_gc);
  /// Whether a visitor's requests must come from the address of the login.
  bool get_enable_match_ip() const;
  void set_enable_match_ip(bool enable_match_ip);

  ProtectType get_protect_type() const;
  void set_protect_type(ProtectType protect_type);
  std::string get_protect_title() const;
  void set_protect_title(const std::string& protect_title);

  /// The stored form, not the password.
  std::string get_protect_password() const;
  PasswordEncryptAlgo get_protect_password_algo() const;
  std::string get_protect_password_salt() const;
  /// Sets the password that PROTECT_PASSWORD asks for; the protect type stays.  With
  /// `need_hash` false, `password` is already a stored form, made with the salt that the
  /// record holds.  A failure (an empty
  /// password under MD5, no random salt, no such algorithm) leaves the record not legal
  /// until a later call succeeds.
  void set_protect_password(const std::string& password, bool need_hash,
                            PasswordEncryptAlgo algo);
  /// Whether the password opens the link; always true when the link asks for none.
  bool IsPasswordValid(const std::string& password) const;

  /// Users admitted under PROTECT_USER: ids, and names that resolved to no id when they
  /// were set, which count as soon as they do.
  std::vector<unsigned int> get_protect_uids() const;
  /// Replaces the ids and forgets the unresolved names.
  void set_protect_uids(const std::vector<unsigned int>& uids);
  /// Names of the ids that resolve, then the unresolved names.
  std::vector<std::string> get_protect_users() const;
  /// Replaces ids and unresolved names.
  void set_protect_users(const std::vector<std::string>& names);
  /// Groups admitted under PROTECT_USER, in the same way.
  std::vector<unsigned int> get_protect_gids() const;
  void set_protect_gids(const std::vector<unsigned int>& gids);
  std::vector<std::string> get_protect_groups() const;
  void set_protect_groups(const std::vector<std::string>& names);

  RedirectType get_redirect_type() const;
  void set_redirect_type(RedirectType redirect_type);
  std::string get_redirect_uri() const;
  void set_redirect_uri(const std::string& redirect_uri);

  /// The application's object, shown to visitors; must be a JSON object.  A link whose
  /// objects hold an infinite number, or are nested about 1000 deep, can be stored but
  /// not read again.
  Json::Value get_app() const;
  void set_app(const Json::Value& app);
  /// The application's object that ToJSON never shows; must be a JSON object.
  Json::Value get_private_data() const;
  void set_private_data(const Json::Value& private_data);

 private:
  std::unique_ptr<EntryPrivate> d_;  // never null, not even when moved from
};

}  // namespace VEXO::sharing::record
