#include "admin/accounts.h"

#include <cerrno>

#include "admin/link_data.h"
#include "base/account_state.h"
#include "utils.h"

namespace admin {

namespace {

using namespace VEXO::sharing;  // the lookups

constexpr size_t kMostKept = 100000;  // accounts; about 10 MB
constexpr size_t kLongestKept = 256;  // bytes; a name in a link can have any length

bool keep_accounts = false;

bool CanKeep(unsigned int /*id*/) { return true; }
bool CanKeep(const std::string& name) { return name.size() <= kLongestKept; }

}  // namespace

AccountCache::AccountCache() { keep_accounts = true; }

AccountCache::~AccountCache() {
  keep_accounts = false;
  Users().Forget();
  Groups().Forget();
}

template <class Key, class Value>
AccountState Directory::Find(bool (*find)(const Key&, Value&), const Key& key,
                             Value& value, Cache<Key, Value>& cache) {
  const auto known = cache.find(key);
  if (known != cache.end()) {
    if (known->second.state == AccountState::kFound) value = known->second.value;
    return known->second.state;
  }
  errno = ENOENT;  // a name that no account can have is not looked up
  const AccountState state = find(key, value)  ? AccountState::kFound
                             : errno == ENOENT ? AccountState::kNotFound
                                               : AccountState::kUnknown;
  if (!keep_accounts || !CanKeep(key) || state == AccountState::kUnknown) return state;
  if (cache.size() == kMostKept) cache.clear();
  cache[key] = {state, value};
  return state;
}

AccountState Directory::FindName(unsigned int id, std::string& name) {
  return Find(to_name_, id, name, names_);
}

AccountState Directory::FindId(const std::string& name, unsigned int& id) {
  return Find(to_id_, name, id, ids_);
}

std::string Directory::Name(unsigned int id) {
  std::string name;
  FindName(id, name);
  return name;
}

std::vector<std::string> Directory::Names(const std::vector<unsigned int>& ids,
                                          const std::vector<std::string>& names) {
  std::vector<std::string> all;
  for (const unsigned int id : ids) {
    std::string name;
    if (FindName(id, name) == AccountState::kFound) all.push_back(std::move(name));
  }
  all.insert(all.end(), names.begin(), names.end());
  return all;
}

std::vector<unsigned int> Directory::Ids(const std::vector<unsigned int>& ids,
                                         const std::vector<std::string>& names) {
  std::vector<unsigned int> all = ids;
  for (const std::string& name : names) {
    unsigned int id = 0;
    if (FindId(name, id) == AccountState::kFound) all.push_back(id);
  }
  return all;
}

std::vector<unsigned int> Directory::Nameless(const std::vector<unsigned int>& ids,
                                              const std::vector<std::string>& names) {
  std::vector<unsigned int> nameless;
  std::string name;
  for (const unsigned int id : Ids(ids, names)) {
    if (FindName(id, name) != AccountState::kFound) nameless.push_back(id);
  }
  return nameless;
}

std::vector<Account> Directory::Accounts(const std::vector<unsigned int>& ids,
                                         const std::vector<std::string>& names) {
  std::vector<Account> accounts;
  unsigned int found_id = 0;
  std::string found_name;
  for (const std::string& name : Names(ids, names)) {
    accounts.push_back({name, FindId(name, found_id)});
  }
  for (const unsigned int id : Ids(ids, names)) {
    accounts.push_back({std::to_string(id), FindName(id, found_name)});
  }
  return accounts;
}

void Directory::Forget() {
  ids_.clear();
  names_.clear();
}

Directory& Users() {
  static Directory users(UserToUID, UIDToUser);
  return users;
}

Directory& Groups() {
  static Directory groups(GroupToGID, GIDToGroup);
  return groups;
}

Account FindUser(unsigned int uid, long now) {
  Account user = {std::to_string(uid), AccountState::kUnknown};
  user.state = Users().FindName(uid, user.name);
  if (user.state != AccountState::kFound) return user;
  const VEXO::base::ShadowState state = VEXO::base::StateOfAccount(user.name, now);
  if (state == VEXO::base::ShadowState::kExpired) user.state = AccountState::kExpired;
  if (state == VEXO::base::ShadowState::kLocked) user.state = AccountState::kLocked;
  return user;
}

std::vector<Account> AllowedUsers(const Entry& link) {
  const LinkData data = ReadLinkData(link);
  return Users().Accounts(data.protect_uids_, data.protect_extra_users_);
}

std::vector<Account> AllowedGroups(const Entry& link) {
  const LinkData data = ReadLinkData(link);
  return Groups().Accounts(data.protect_gids_, data.protect_extra_groups_);
}

std::vector<std::string> Unresolved(const std::vector<Account>& accounts) {
  std::vector<std::string> names;
  for (const auto& [name, state] : accounts) {
    if (state != AccountState::kFound) names.push_back(name);
  }
  return names;
}

}  // namespace admin
