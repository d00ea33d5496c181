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

/// One sharing link: the hash in its URL, the application and the user that own it, when
/// and how often it may be used, who may use it, and two JSON objects of the application.
///
/// A value type.  An object must not be used by two threads at once.
class SHARING_EXPORT Entry {
 public:
  /// What a visitor needs: nothing, a password, or an account that the link lists.
  enum ProtectType : int { PROTECT_NONE = 0, PROTECT_PASSWORD = 1, PROTECT_USER = 2 };
  /// How the application uses `redirect_uri`: not at all, as a URL parameter, or always.
  /// The library only stores it.
  enum RedirectType : int {
    REDIRECT_NONE = 0,
    REDIRECT_URLPARAM = 1,
    REDIRECT_ALWAYS = 2
  };
  /// Form of the stored password: salted SHA-1, or MD5 without salt.
  enum PasswordEncryptAlgo : int { ENCRYPT_ALGO_DEFAULT = 0, ENCRYPT_ALGO_MD5 = 1 };

  /// Creates a link without hash, project, owner and `app`, which is not legal:
  /// enabled, without limits and protection, with `auto_gc` and the address match set.
  Entry();
  virtual ~Entry();
  /// Copies the record; nothing is shared.
  Entry(const Entry& other);
  /// Takes the record's values over; `other` can be used again.  Allocates.
  Entry(Entry&& other);
  Entry& operator=(const Entry& other);
  Entry& operator=(Entry&& other);

  /// The record as a store takes it; this object owns it.
  Object* GetObject();
  /// As above, read-only.
  const Object* GetCObject() const;

  /// Values of the stored columns in table order, without the id.
  std::vector<std::string> GetFieldList() const;
  /// The same values by column name.
  std::map<std::string, std::string> GetFieldMap() const;

  /// Whether the link may be stored: hash, project and owner are set, `app` and
  /// `private_data` are JSON objects, and a protected link has its password, or at least
  /// one user or group.  When it may not, the reason is logged.
  bool IsLegal() const;
  /// Whether a visitor may use the link now: it is legal, enabled, started and not
  /// expired, and its uses do not exceed the limit.  The second `expire_at` and the last
  /// use still count as valid.  When the link is not valid, the reason is logged.
  bool IsValid() const;
  /// Replaces `out` by the public view, which never has the row id, the stored password,
  /// its salt, the lists of ids or the private data.
  void ToJSON(Json::Value& out) const;
  /// Fills the link from a row of the table "entry".  `app` and `private_data` may stay
  /// text until a later call needs them.  While JSON is parsed, here or in that call, the
  /// process may have the classic C++ locale.
  ///
  /// @return false, with the row id set, when the data column is unreadable or the link
  ///         is not legal
  bool FromRow(const db::Row& row);

  /// Row id; 0 until the link has been stored or read.
  int get_id() const;
  void set_id(int id);
  /// The text that identifies the link in its URL.
  std::string get_hash() const;
  void set_hash(std::string hash);
  /// Name of the application that owns the link.
  std::string get_project_name() const;
  void set_project_name(const std::string& project_name);
  /// Whether the link may be used at all.
  bool get_enabled() const;
  void set_enabled(const bool& enabled);

  /// User id of the owner; UID_ERR when it is not set.
  unsigned int get_owner_uid() const;
  void set_owner_uid(unsigned int uid);
  /// Name of the owner; empty when the account is not found.
  std::string get_owner_user() const;
  /// Sets the owner by name.
  ///
  /// @return 1, or 0 when the user is not found; the owner is then UID_ERR
  int set_owner_user(const std::string& name);

  /// Start in seconds since the epoch; 0 for none.
  long get_start_at() const;
  void set_start_at(long start_at);
  /// Expiry in seconds since the epoch; 0 for none.
  long get_expire_at() const;
  void set_expire_at(long expire_at);
  /// The time as text, in local time.
  ///
  /// @param format  a format of strftime(3)
  /// @return the text; empty when no time is set, for a null format, or when the text is
  ///         longer than 127 bytes
  std::string get_start_at_str(const char* format) const;
  /// As above.
  std::string get_expire_at_str(const char* format) const;
  /// Sets the time from a text, in local time.
  ///
  /// @param text    the time; when it is empty or does not match the format, the time is
  ///                set to 0
  /// @param format  a format of strptime(3)
  void set_start_at_str(const std::string& text, const char* format);
  /// As above.
  void set_expire_at_str(const std::string& text, const char* format);

  /// Use limit; 0 for none.
  int get_expire_times() const;
  /// Sets the use limit.  Changing from no limit to a limit sets the use count to 0.
  void set_expire_times(const int& expire_times);
  /// Number of uses so far.
  int get_use_count() const;
  void set_use_count(const int& use_count);
  /// Adds one use.  The largest int is kept.
  void inc_use_count();

  /// Whether the general purge may delete the link.
  bool get_auto_gc() const;
  void set_auto_gc(const bool& auto_gc);
  /// Whether a visitor's requests must come from the address of their login.
  bool get_enable_match_ip() const;
  void set_enable_match_ip(bool enable_match_ip);

  /// What a visitor needs to use the link.
  ProtectType get_protect_type() const;
  void set_protect_type(ProtectType protect_type);
  /// Text for the form that asks for a password or an account.
  std::string get_protect_title() const;
  void set_protect_title(const std::string& protect_title);

  /// The stored form of the password, as lower-case hexadecimal digits.
  std::string get_protect_password() const;
  /// How the stored form was made.
  PasswordEncryptAlgo get_protect_password_algo() const;
  /// Salt of the stored form.
  std::string get_protect_password_salt() const;
  /// Sets the password of PROTECT_PASSWORD; the protection type is not changed.  After a
  /// failure (an empty password with MD5, no random salt, or an unknown algorithm) the
  /// link is not legal until a later call succeeds.
  ///
  /// @param password   the password, or its stored form
  /// @param need_hash  true for a password; false for a stored form, made with the salt
  ///                   that the link has
  /// @param algo       the form to store
  void set_protect_password(const std::string& password, bool need_hash,
                            PasswordEncryptAlgo algo);
  /// Whether the password is that of the link; always true without PROTECT_PASSWORD.
  bool IsPasswordValid(const std::string& password) const;

  /// Ids of the users that PROTECT_USER admits.  Names that were not found when they were
  /// set are looked up again.
  std::vector<unsigned int> get_protect_uids() const;
  /// Replaces the users.
  void set_protect_uids(const std::vector<unsigned int>& uids);
  /// Names of the users.  Users that are not found are left out, except for those set by
  /// name.
  std::vector<std::string> get_protect_users() const;
  /// Replaces the users.  A name that is not found is kept as a name.
  void set_protect_users(const std::vector<std::string>& names);
  /// Ids of the groups that PROTECT_USER admits, as for users.
  std::vector<unsigned int> get_protect_gids() const;
  /// Replaces the groups.
  void set_protect_gids(const std::vector<unsigned int>& gids);
  /// Names of the groups, as for users.
  std::vector<std::string> get_protect_groups() const;
  /// Replaces the groups.  A name that is not found is kept as a name.
  void set_protect_groups(const std::vector<std::string>& names);

  /// How the application uses `redirect_uri`.
  RedirectType get_redirect_type() const;
  void set_redirect_type(RedirectType redirect_type);
  /// A URI of the application.
  std::string get_redirect_uri() const;
  void set_redirect_uri(const std::string& redirect_uri);

  /// Data of the application, which visitors may see; must be a JSON object.  A link
  /// whose objects have an infinite number, or are nested about 1000 levels deep, can be
  /// stored but not read again.
  Json::Value get_app() const;
  void set_app(const Json::Value& app);
  /// Data of the application that ToJSON never shows; must be a JSON object.
  Json::Value get_private_data() const;
  void set_private_data(const Json::Value& private_data);

 private:
  std::unique_ptr<EntryPrivate> d_;  // never null, not even when moved from
};

}  // namespace VEXO::sharing::record
