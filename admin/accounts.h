#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "entry.h"

namespace admin {

using VEXO::sharing::record::Entry;

/// What is known of an account.
enum class AccountState {
  kFound,
  kLocked,   // the user cannot log in to the system any more
  kExpired,  // the same
  kNotFound,
  kUnknown,  // the lookup failed
};

struct Account {
  std::string name;  // or the id as a number
  AccountState state;
};

/// While an object of this class exists, each account is looked up once.  This includes
/// accounts that do not exist, for which the name service asks all its sources.  A lookup
/// that failed is repeated.  A program has one object for its whole run.
class AccountCache {
 public:
  AccountCache();
  ~AccountCache();
  AccountCache(const AccountCache&) = delete;
  AccountCache& operator=(const AccountCache&) = delete;
};

/// The users or the groups of the system.
class Directory {
 public:
  using ToId = bool (*)(const std::string& name, unsigned int& id);
  using ToName = bool (*)(const unsigned int& id, std::string& name);

  Directory(ToId to_id, ToName to_name) : to_id_(to_id), to_name_(to_name) {}

  /// Looks up an account.  The output is set only if it is found.
  AccountState FindName(unsigned int id, std::string& name);
  AccountState FindId(const std::string& name, unsigned int& id);

  /// The name of an account; empty if it is not found.
  std::string Name(unsigned int id);

  // A link stores accounts as ids, and as names if their ids were not known.

  /// The names of those ids that have one, and then the stored names.
  std::vector<std::string> Names(const std::vector<unsigned int>& ids,
                                 const std::vector<std::string>& names);
  /// The ids that have no name: of the stored ids, and of those that the stored names
  /// have now.
  std::vector<unsigned int> Nameless(const std::vector<unsigned int>& ids,
                                     const std::vector<std::string>& names);
  /// All these accounts, first by name and then by id, with their states.
  std::vector<Account> Accounts(const std::vector<unsigned int>& ids,
                                const std::vector<std::string>& names);

  /// Forgets the accounts that an AccountCache has kept.
  void Forget();

 private:
  template <class Value>
  struct Known {
    AccountState state;
    Value value;
  };
  template <class Key, class Value>
  using Cache = std::unordered_map<Key, Known<Value>>;

  template <class Key, class Value>
  static AccountState Find(bool (*find)(const Key&, Value&), const Key& key, Value& value,
                           Cache<Key, Value>& cache);
  std::vector<unsigned int> Ids(const std::vector<unsigned int>& ids,
                                const std::vector<std::string>& names);

  ToId to_id_;
  ToName to_name_;
  Cache<std::string, unsigned int> ids_;
  Cache<unsigned int, std::string> names_;
};

Directory& Users();
Directory& Groups();

/// The user, with the state of their entry in the shadow password file (shadow(5));
/// kFound for a user without one, or when it cannot be read.
Account FindUser(unsigned int uid, long now);

/// The users and groups that a link allows, without the states of the shadow file.
/// Names come first, and then ids: most accounts are listed twice.
std::vector<Account> AllowedUsers(const Entry& link);
std::vector<Account> AllowedGroups(const Entry& link);

/// The names of those that were not found.
std::vector<std::string> Unresolved(const std::vector<Account>& accounts);

}  // namespace admin
