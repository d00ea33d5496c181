#pragma once

#include <json/value.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "admin/error.h"
#include "admin/secret.h"
#include "entry.h"

namespace admin {

using VEXO::sharing::record::Entry;

/// The last second of the year 9999 in the westernmost time zone (UTC-12), the latest
/// time that a link may have.
inline constexpr long kLatestTime = 253402343999;

/// Settings of a link.  What is not set stays as it is.
struct LinkSettings {
  std::optional<std::string> project;
  std::optional<std::string> owner;  // name, or number, of an existing user
  std::optional<Json::Value> app;
  std::optional<Json::Value> private_data;
  std::optional<long> start_at;   // seconds since the epoch; 0 for none
  std::optional<long> expire_at;  // the same
  std::optional<int> expire_times;
  std::optional<bool> enabled;
  std::optional<bool> auto_gc;
  std::optional<bool> match_ip;
  std::optional<std::string> title;
  std::optional<Entry::RedirectType> redirect_type;
  std::optional<std::string> redirect_uri;
  /// If not set, a password makes it PROTECT_PASSWORD, and users or groups PROTECT_USER.
  std::optional<Entry::ProtectType> protect_type;
  std::optional<std::vector<std::string>> users;
  std::optional<std::vector<std::string>> groups;
  /// Not owned; null for none.
  const Secret* password = nullptr;
  /// Removes the password, the users and the groups.
  bool remove_protection = false;

  /// Whether nothing is set.
  bool empty() const;
};

/// Writes the settings into the link.  A new password removes users and groups, and users
/// or groups remove the password.  On an error the link is not to be stored.
Error ApplySettings(const LinkSettings& settings, Entry& link);

/// Makes a new link of the settings, which must name project and owner; it is not stored.
Error NewLink(const LinkSettings& settings, Entry& link);

/// The user who owns, or is to own, a link, by name or by number.  With `existing` an
/// account of that number must exist.
Error FindOwner(const std::string& text, bool existing, std::optional<unsigned int>& uid);

/// Words of the settings in options, JSON and the database: "none", "password", "user";
/// "none", "url_param", "always".  False for any other word.
bool ParseProtectType(const std::string& word, Entry::ProtectType& type);
bool ParseRedirectType(const std::string& word, Entry::RedirectType& type);

}  // namespace admin
