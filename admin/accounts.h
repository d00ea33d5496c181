#pragma once

#include <string>
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
