#pragma once

#include <string>

namespace admin {

/// Result of looking up an account by name or id.
enum class Lookup {
  kFound,
  kNotFound,
  kUnknown,  // the lookup itself failed; the reason is in errno
};

/// `name`, unless null, receives the name that was found.
Lookup FindUser(unsigned int uid, std::string* name = nullptr);
Lookup FindUser(const std::string& name);
Lookup FindGroup(unsigned int gid);
Lookup FindGroup(const std::string& name);

/// Whether a user may still log in to the system.
enum class AccountState { kActive, kLocked, kExpired };

/// The state of a user's entry in the shadow password file (shadow(5)); kActive for a
/// user without one, or when it cannot be read.
AccountState StateOfAccount(const std::string& name, long now);

}  // namespace admin
