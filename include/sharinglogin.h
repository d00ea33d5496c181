#pragma once

/// @file
/// What a link's front end calls: log a visitor in, check every later request, log out,
/// count a use.
/// To be called from a CGI program: the client's address, the request's parameters and
/// its cookies are those of the request that it serves.  The plain functions serve C
/// programs; C++ programs call those of namespace VEXO, always by that name, since both
/// carry the same one.  They run on the caller's thread and change the process's
/// effective ids while a statement runs: one thread at a time.

#include <stddef.h>

#include "keys.h"

/// What a visitor brings.  The caller owns the strings; any of them may be null.
struct _tag_sharing_login_params {
  /// The link's hash.  Required.
  const char* hash;
  /// Password of a link that asks for one.
  const char* password;
  /// User of the appliance, for a link that admits users and groups.
  const char* username;
  /// That user's password.
  const char* user_password;
  /// What an earlier login handed out to this visitor, or null.
  const char* session_id;
};

#ifdef __cplusplus
extern "C" {
#endif

/// Logs a visitor in, as VEXO::VexoSharingLogin does; `flag` 1 sets `suppress_autoblock`,
/// any other value does not.
///
/// Copies at most `size` characters of the session id to `buf`, without a terminator, and
/// then writes a 0 to buf[size - 1]: hand in a zeroed buffer.  33 bytes hold an id that
/// the library made.  Returns the result code; -4, without a login, for no buffer.
SHARING_EXPORT int VexoSharingLogin(char* buf, size_t size,
                                    const struct _tag_sharing_login_params* params,
                                    int flag);

/// Checks a request, as VEXO::VexoSharingIsAuthorized does.
SHARING_EXPORT int VexoSharingIsAuthorized(
    const struct _tag_sharing_login_params* params);

/// Logs a visitor out of a link: 1, or 0.  A null pointer throws std::logic_error, which
/// a C program cannot catch.
SHARING_EXPORT int VexoSharingLogout(const char* hash, const char* session_id);

/// Counts one use of a link: 1, or 0.  A null pointer throws std::logic_error, which a C
/// program cannot catch.
SHARING_EXPORT int VexoSharingIncreaseUseCount(const char* hash);

#ifdef __cplusplus
}

#include <string>

namespace VEXO {

/// Logs a visitor in to a link, counts the use and hands back the id of the session,
/// good for one day.  A session id that still stands in the database is used again, an
/// expired one too.  Every refusal by the link's protection (-2, -3 without or with
/// unchecked credentials, -9, -10) counts as a failed login of the visitor's address, and
/// a success clears its record; `suppress_autoblock` switches that off for -10 and for
/// the success.
///
///   1   logged in; only now `out` is replaced
///  -2   user or user's password refused
///  -3   no such link, or not usable now; a password link without a password; a user link
///       whose user could not be checked
///  -4   general failure
///  -8   the address is blocked
///  -9   wrong password
/// -10   the user is not admitted to this link
/// -11   the link's uses are exhausted
SHARING_EXPORT int VexoSharingLogin(std::string& out,
                                    const _tag_sharing_login_params* params,
                                    bool suppress_autoblock);

/// Checks that the session of an earlier login still opens the link, and moves the
/// deadlines of session and token to one day from now.  Give `hash` and `session_id`; a
/// `username` logs that user in again where the link admits users.
///
///   1   authorised
///  -1   the session or its token has expired; an expired token is deleted
///  -2   the user is no longer admitted
///  -4   general failure
///  -5   no such session
///  -6   the link is not usable any more
///  -7   no such link, or the session is not logged in to it
///  -8   the link is bound to the address of the login, and this is another
SHARING_EXPORT int VexoSharingIsAuthorized(const _tag_sharing_login_params* params);

/// Takes the session's grant of the link away; the session stays, with its other links.
SHARING_EXPORT bool VexoSharingLogout(const std::string& hash,
                                      const std::string& session_id);

/// Counts one use of a link, in a write transaction of its own or in the caller's.  False
/// when the link does not exist or the database failed; nothing is counted then.
SHARING_EXPORT bool VexoSharingIncreaseUseCount(const std::string& hash);

}  // namespace VEXO
#endif
