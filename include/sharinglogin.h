#pragma once

/// @file
/// What the front end of a link calls: log in a visitor, check each later request, log
/// out, and count a use.
///
/// These functions are for CGI programs: the client's address, the parameters and the
/// cookies are those of the current request.  C programs call the plain functions.  C++
/// programs call those of namespace VEXO, and always write the namespace, since the plain
/// functions have the same names.  The functions switch the effective ids of the process
/// while a statement runs, so only one thread at a time may call them.

#include <stddef.h>

#include "keys.h"
#include "result_code.h"

/// The parameters of a login and of a check.  The caller owns the strings; each of them
/// may be null.
struct _tag_sharing_login_params {
  /// The link's hash.  Required.
  const char* hash;
  /// The password of the link, for a link that is protected by a password.
  const char* password;
  /// A user of the appliance, for a link that admits users and groups.
  const char* username;
  /// The password of that user.
  const char* user_password;
  /// The session id of an earlier login of this visitor.  Required for a check.
  const char* session_id;
};

#ifdef __cplusplus
extern "C" {
#endif

/// Logs in a visitor, as VEXO::VexoSharingLogin does.
///
/// @param[out] buf  receives the session id: at most `size` characters without a
///                  terminating NUL, and then a NUL at buf[size - 1].  Pass a buffer
///                  filled with zeros.
/// @param size      size of `buf` in bytes; 33 are enough for an id made by the library
/// @param params    what the visitor sent
/// @param flag      1 to set `suppress_autoblock`; any other value does not
/// @return one of VexoSharingLoginResult; SHARING_LOGIN_GENERAL_FAILURE, without a login,
///         when `buf` is null or `size` is 0
SHARING_EXPORT int VexoSharingLogin(char* buf, size_t size,
                                    const struct _tag_sharing_login_params* params,
                                    int flag);

/// Checks a request, as VEXO::VexoSharingIsAuthorized does.
///
/// @return one of VexoSharingCheckResult
SHARING_EXPORT int VexoSharingIsAuthorized(
    const struct _tag_sharing_login_params* params);

/// Logs out a visitor, as VEXO::VexoSharingLogout does.  A null pointer throws
/// std::logic_error, which a C program cannot catch.
///
/// @return 1, or 0 on failure
SHARING_EXPORT int VexoSharingLogout(const char* hash, const char* session_id);

/// Counts one use of a link, as VEXO::VexoSharingIncreaseUseCount does.  A null pointer
/// throws std::logic_error, which a C program cannot catch.
///
/// @return 1, or 0 on failure
SHARING_EXPORT int VexoSharingIncreaseUseCount(const char* hash);

#ifdef __cplusplus
}

#include <string>

namespace VEXO {

/// Logs in a visitor to a link, counts one use, and returns the id of a session, which is
/// valid for one day.  A session id that is still in the database is used again, even if
/// the session has expired.
///
/// A login that the protection of the link refuses counts as a failed login of the
/// visitor's address, and a successful login clears its failed logins.
///
/// @param[out] out            the session id; unchanged on failure
/// @param params              what the visitor sent; null is a general failure
/// @param suppress_autoblock  true to count no failed login for
///                            SHARING_LOGIN_USER_NOT_ADMITTED, and to clear none after a
///                            successful login
/// @return one of VexoSharingLoginResult:
/// - 1 SHARING_LOGIN_SUCCESS: logged in
/// - -2 SHARING_LOGIN_REFUSED: user name or password refused
/// - -3 SHARING_LOGIN_NO_USABLE_LINK: no such link, or it cannot be used now; or
///   credentials are missing or could not be checked
/// - -4 SHARING_LOGIN_GENERAL_FAILURE: the database, the address or a parameter is
///   missing or cannot be used
/// - -8 SHARING_LOGIN_ADDRESS_BLOCKED: too many failed logins from this address
/// - -9 SHARING_LOGIN_WRONG_PASSWORD: wrong password
/// - -10 SHARING_LOGIN_USER_NOT_ADMITTED: the link does not admit the user
/// - -11 SHARING_LOGIN_USES_EXHAUSTED: use limit reached
SHARING_EXPORT int VexoSharingLogin(std::string& out,
                                    const _tag_sharing_login_params* params,
                                    bool suppress_autoblock);

/// Checks that the session of an earlier login may use the link, and moves the deadlines
/// of session and token to one day from now.  An expired token is deleted.
///
/// @param params  `hash` and `session_id`.  A `username` logs in that user again, with
///                `user_password`, if the link admits users.
/// @return one of VexoSharingCheckResult:
/// - 1 SHARING_CHECK_SUCCESS: authorized
/// - -1 SHARING_CHECK_EXPIRED: the session or its token has expired
/// - -2 SHARING_CHECK_USER_REFUSED: the link does not admit the user any more
/// - -4 SHARING_CHECK_GENERAL_FAILURE: the database, the address or a parameter is
///   missing or cannot be used
/// - -5 SHARING_CHECK_NO_SESSION: no such session
/// - -6 SHARING_CHECK_LINK_NOT_VALID: the link cannot be used any more
/// - -7 SHARING_CHECK_NO_TOKEN: no such link, or the session is not logged in to it
/// - -8 SHARING_CHECK_OTHER_ADDRESS: the address is not that of the login
SHARING_EXPORT int VexoSharingIsAuthorized(const _tag_sharing_login_params* params);

/// Logs out a visitor from one link: deletes the session's token for it.  The session and
/// its other tokens are kept.
///
/// @return false when the session, the link or the token is not found, or the database
///         failed
SHARING_EXPORT bool VexoSharingLogout(const std::string& hash,
                                      const std::string& session_id);

/// Counts one use of a link, in a transaction of its own or in that of the caller.
///
/// @return false, without counting, when the link is not found or the database failed
SHARING_EXPORT bool VexoSharingIncreaseUseCount(const std::string& hash);

}  // namespace VEXO
#endif
