#include "admin/accounts.h"

#include <cerrno>

#include "base/account_state.h"
#include "utils.h"

namespace admin {

namespace {

using namespace VEXO::sharing;  // the lookups

/// Calls one of the library's lookups.
template <class Key, class Value>
AccountState Find(bool (*find)(const Key&, Value&), const Key& key, Value& value) {
  errno = ENOENT;  // a name that no account can have is not looked up
  if (find(key, value)) return AccountState::kFound;
  return errno == ENOENT ? AccountState::kNotFound : AccountState::kUnknown;
}

std::vector<Account> Allowed(const std::vector<std::string>& names,
                             const std::vector<unsigned int>& ids,
                             bool (*to_id)(const std::string& name, unsigned int& id),
                             bool (*to_name)(const unsigned int& id, std::string& name)) {
  std::vector<Account> accounts;
  accounts.reserve(names.size() + ids.size());
  unsigned int found_id = 0;
  std::string found_name;
  for (const std::string& name : names) {
    accounts.push_back({name, Find(to_id, name, found_id)});
  }
  for (const unsigned int id : ids) {
    accounts.push_back({std::to_string(id), Find(to_name, id, found_name)});
  }
  return accounts;
}

}  // namespace

Account FindUser(unsigned int uid, long now) {
  Account user = {std::to_string(uid), AccountState::kUnknown};
  user.state = Find(UIDToUser, uid, user.name);
  if (user.state != AccountState::kFound) return user;
  const VEXO::base::ShadowState state = VEXO::base::StateOfAccount(user.name, now);
  if (state == VEXO::base::ShadowState::kExpired) user.state = AccountState::kExpired;
  if (state == VEXO::base::ShadowState::kLocked) user.state = AccountState::kLocked;
  return user;
}

std::vector<Account> AllowedUsers(const Entry& link) {
  return Allowed(link.get_protect_users(), link.get_protect_uids(), UserToUID, UIDToUser);
}

std::vector<Account> AllowedGroups(const Entry& link) {
  return Allowed(link.get_protect_groups(), link.get_protect_gids(), GroupToGID,
                 GIDToGroup);
}

std::vector<std::string> Unresolved(const std::vector<Account>& accounts) {
  std::vector<std::string> names;
  for (const auto& [name, state] : accounts) {
    if (state != AccountState::kFound) names.push_back(name);
  }
  return names;
}

}  // namespace admin
