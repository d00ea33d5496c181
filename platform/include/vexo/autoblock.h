#pragma once

/// @file
/// Blocking of addresses that fail to log in too often.  The counts are shared by all
/// processes and survive a restart.  IPv6 addresses count by their /64.
///
/// A store that cannot be read or written counts every address as blocked.  One that
/// SQLite finds damaged is moved aside, logged, and begun again.

/// What is known of one address.  The strings live as long as the call that hands them
/// out.
struct VexoAutoBlockEntry {
  const char* address;
  /// Failed logins inside the window.
  int failures;
  /// Service of the last failed login.
  const char* service;
  /// Seconds since the epoch until which the address is blocked; 0 when it is not.
  long blocked_until;
};

#ifdef __cplusplus
extern "C" {
#endif

/// Counts one failed login.  0, or -1.
int AutoBlockFailLoginSet(const char* address, const char* service);

/// Forgets the address's failures; a block in force stays until it runs out.  0, or -1.
int VEXOAutoBlockFailLoginReset(const char* address);

/// Calls `each` for every address that has failures or is blocked, and stops when it
/// answers other than 0.  0, or -1.
int VEXOAutoBlockList(int (*each)(const struct VexoAutoBlockEntry* entry, void* context),
                      void* context);

/// Forgets the address's failures and its block.  0, or -1.
int VEXOAutoBlockClear(const char* address);

#ifdef __cplusplus
}
#endif
