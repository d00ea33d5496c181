#pragma once

/// @file
/// Blocking of addresses that fail to log in too often.  The counts are shared by all
/// processes and survive a restart.  IPv6 addresses count by their /64.
///
/// While a failed login could not be counted (the database cannot be read or written, the
/// file system is full or read-only, the folder is missing), every address counts as
/// blocked.  A database that SQLite finds damaged is moved aside, logged, and replaced by
/// a new one.
///
/// Setting the clock back does not lift a block: it begins again at the new time, for its
/// usual length.  Failures stored under a later time count as failures of now.
///
/// Failed logins, blocks and refused logins are logged to LOG_AUTHPRIV as one of
///
///     vexosharing: login failed: from=ADDRESS service=SERVICE failures=NUMBER
///     vexosharing: address blocked: from=ADDRESS service=SERVICE failures=NUMBER
///     seconds=NUMBER
///     vexosharing: login refused: from=ADDRESS reason=REASON
///
/// (each on one line).  NUMBER of failures is "unknown" when the failure could not be
/// counted.  SERVICE is percent-encoded.  REASON is "blocked" or
/// "failures-cannot-be-counted".

/// What is known about one address.  The strings are valid during the call that passes
/// them.
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

/// Counts and logs one failed login.  0, or -1.
int AutoBlockFailLoginSet(const char* address, const char* service);

/// Forgets the address's failures; a block stays until it expires.  0, or -1.
int VEXOAutoBlockFailLoginReset(const char* address);

/// Calls `each` for every address that has failures or is blocked, and stops when it
/// returns another value than 0.  0, or -1.
int VEXOAutoBlockList(int (*each)(const struct VexoAutoBlockEntry* entry, void* context),
                      void* context);

/// Forgets the address's failures and its block.  0, or -1.
int VEXOAutoBlockClear(const char* address);

#ifdef __cplusplus
}
#endif
