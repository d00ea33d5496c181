#pragma once

#include <string>
#include <vector>

#include "entry.h"

namespace admin {

using VEXO::sharing::record::Entry;

/// Result of looking up an account by name or id.
enum class Lookup {
  kFound,
  kNotFound,
  kUnknown,  // the lookup itself failed; the reason is in errno
};

/// `name` receives the name that was found.
Lookup FindUser(unsigned int uid, std::string& name);

/// Whether a user may still log in to the system.
enum class AccountState { kActive, kLocked, kExpired };

/// The state of a user's entry in the shadow password file (shadow(5)); kActive for a
/// user without one, or when it cannot be read.
AccountState StateOfAccount(const std::string& name, long now);

/// A user or a group that a link allows.
struct AllowedAccount {
  std::string name;  // or the id as a number
  Lookup found;
};

/// Names first, and then ids: most accounts are listed twice.
std::vector<AllowedAccount> AllowedUsers(const Entry& link);
std::vector<AllowedAccount> AllowedGroups(const Entry& link);

/// The names of those that were not found.
std::vector<std::string> UnresolvedUsers(const Entry& link);
std::vector<std::string> UnresolvedGroups(const Entry& link);

/// Whether the change may have altered who is admitted, so that earlier logins must not
/// count any more.
bool AccessChanged(const Entry& before, const Entry& after);

/// Whether the link is for users and groups, and names none.
bool AdmitsNobody(const Entry& link);

}  // namespace admin
