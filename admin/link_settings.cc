#include "admin/link_settings.h"

#include <algorithm>
#include <set>

#include "base/number.h"
#include "keys.h"
#include "utils.h"

namespace admin {

namespace {

using namespace VEXO::sharing;  // the keys

Error Bad(const std::string& message) { return {kBadParameter, message}; }

/// The names in their order, each once; empty ones are left out.
std::vector<std::string> Unique(const std::optional<std::vector<std::string>>& names) {
  std::set<std::string> seen = {""};
  std::vector<std::string> unique;
  if (!names) return unique;
  for (const std::string& name : *names) {
    if (seen.insert(name).second) unique.push_back(name);
  }
  return unique;
}

Error ApplyTimes(const LinkSettings& settings, Entry& link) {
  for (const std::optional<long>& moment : {settings.start_at, settings.expire_at}) {
    if (moment && (*moment < 0 || *moment > kLatestTime)) {
      return Bad("a time must be between 1970 and 9999");
    }
  }
  if (settings.start_at) link.set_start_at(*settings.start_at);
  if (settings.expire_at) link.set_expire_at(*settings.expire_at);
  // Other settings of a link that already has such times can still be changed.
  const bool wrong =
      link.get_expire_at() != 0 && link.get_start_at() > link.get_expire_at();
  if (wrong && (settings.start_at || settings.expire_at)) {
    return Bad("the link would expire before it starts");
  }
  return {};
}

Error ApplyProtection(const LinkSettings& settings, Entry& link) {
  const bool password = settings.password != nullptr;
  const std::vector<std::string> users = Unique(settings.users);
  const std::vector<std::string> groups = Unique(settings.groups);
  const bool names = !users.empty() || !groups.empty();
  if (password && names) {
    return Bad("a link is protected by a password or by users and groups, not by both");
  }
  const Entry::ProtectType type = settings.protect_type.value_or(
      password                     ? Entry::PROTECT_PASSWORD
      : names                      ? Entry::PROTECT_USER
      : settings.remove_protection ? Entry::PROTECT_NONE
                                   : link.get_protect_type());
  if (password && type != Entry::PROTECT_PASSWORD) {
    return Bad("a password requires the protection \"password\"");
  }
  if (names && type != Entry::PROTECT_USER) {
    return Bad("users and groups require the protection \"user\"");
  }
  if (password || settings.remove_protection) {
    link.set_protect_users({});
    link.set_protect_groups({});
  }
  if (names || settings.remove_protection) {
    link.set_protect_password("", false, Entry::ENCRYPT_ALGO_DEFAULT);
  }
  if (settings.users) link.set_protect_users(users);
  if (settings.groups) link.set_protect_groups(groups);
  link.set_protect_type(type);
  if (password) {
    link.set_protect_password(settings.password->text(), true,
                              Entry::ENCRYPT_ALGO_DEFAULT);
    if (!link.get_protect_password().empty()) return {};
    return {kFailed, "the password could not be stored", "see the system log"};
  }
  if (type == Entry::PROTECT_PASSWORD && link.get_protect_password().empty()) {
    return {kMissingParameter, "a password is required"};
  }
  // Empty lists do not make an open link of one that is meant for users.
  const bool listed = settings.users || settings.groups;
  const bool open = listed && !settings.protect_type && !settings.remove_protection &&
                    type == Entry::PROTECT_NONE;
  // Ids of accounts that are gone have no name, and names not known yet have no id.
  const bool admits_nobody =
      type == Entry::PROTECT_USER && link.get_protect_uids().empty() &&
      link.get_protect_users().empty() && link.get_protect_gids().empty() &&
      link.get_protect_groups().empty();
  if (open || admits_nobody) {
    return {kMissingParameter, "a user or a group is required"};
  }
  return {};
}

}  // namespace

bool LinkSettings::empty() const {
  return !project && !owner && !app && !private_data && !start_at && !expire_at &&
         !expire_times && !enabled && !auto_gc && !match_ip && !title && !redirect_type &&
         !redirect_uri && !protect_type && !users && !groups && password == nullptr &&
         !remove_protection;
}

Error ApplySettings(const LinkSettings& settings, Entry& link) {
  if (settings.project && settings.project->empty()) return Bad("the project is empty");
  if (settings.owner) {
    std::optional<unsigned int> uid;
    if (Error error = FindOwner(*settings.owner, true, uid)) return error;
    link.set_owner_uid(*uid);
  }
  if (settings.project) link.set_project_name(*settings.project);
  if (settings.app) link.set_app(*settings.app);
  if (settings.private_data) link.set_private_data(*settings.private_data);
  if (settings.expire_times) link.set_expire_times(*settings.expire_times);
  if (settings.enabled) link.set_enabled(*settings.enabled);
  if (settings.auto_gc) link.set_auto_gc(*settings.auto_gc);
  if (settings.match_ip) link.set_enable_match_ip(*settings.match_ip);
  if (settings.title) link.set_protect_title(*settings.title);
  if (settings.redirect_type) link.set_redirect_type(*settings.redirect_type);
  if (settings.redirect_uri) link.set_redirect_uri(*settings.redirect_uri);
  if (Error error = ApplyTimes(settings, link)) return error;
  return ApplyProtection(settings, link);
}

Error NewLink(const LinkSettings& settings, Entry& link) {
  if (!settings.project || !settings.owner) {
    return {kMissingParameter, "a project and an owner are required"};
  }
  link.set_app(Json::Value(Json::objectValue));
  return ApplySettings(settings, link);
}

Error FindOwner(const std::string& text, bool existing,
                std::optional<unsigned int>& uid) {
  auto found = VEXO::base::ParseNumber<unsigned int>(text, 0, UID_ERR - 1);
  unsigned int named = UID_ERR;
  std::string name;
  if (UserToUID(text, named)) {
    found = named;
  } else if (found && existing && !UIDToUser(*found, name)) {
    found.reset();
  }
  if (found) {
    uid = found;
    return {};
  }
  return {kUnknownUser, "user not found: " + text,
          existing ? "" : "name a deleted user by number"};
}

bool ParseProtectType(const std::string& word, Entry::ProtectType& type) {
  if (word == SZK_PROTECT_PROTECT_NONE) return type = Entry::PROTECT_NONE, true;
  if (word == SZK_PROTECT_PROTECT_PASSWORD) return type = Entry::PROTECT_PASSWORD, true;
  if (word == SZK_PROTECT_PROTECT_USER) return type = Entry::PROTECT_USER, true;
  return false;
}

bool ParseRedirectType(const std::string& word, Entry::RedirectType& type) {
  if (word == SZK_REDIRECT_REDIRECT_NONE) return type = Entry::REDIRECT_NONE, true;
  if (word == SZK_REDIRECT_REDIRECT_URLPARAM) {
    return type = Entry::REDIRECT_URLPARAM, true;
  }
  if (word == SZK_REDIRECT_REDIRECT_ALWAYS) return type = Entry::REDIRECT_ALWAYS, true;
  return false;
}

}  // namespace admin
