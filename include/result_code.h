#pragma once

/// @file
/// The results of VexoSharingLogin and VexoSharingIsAuthorized, for C and C++: constants,
/// and their meanings as texts.  The two functions share numbers, but not all meanings.

/// X(name, number, meaning) for each result of VexoSharingLogin.
#define SHARING_LOGIN_RESULTS(X)                                                      \
  X(SHARING_LOGIN_SUCCESS, 1, "logged in")                                            \
  X(SHARING_LOGIN_REFUSED, -2, "user name or password refused")                       \
  X(SHARING_LOGIN_NO_USABLE_LINK, -3,                                                 \
    "no such link, or it cannot be used now; or credentials are missing or could not" \
    " be checked")                                                                    \
  X(SHARING_LOGIN_GENERAL_FAILURE, -4,                                                \
    "the database, the address or a parameter is missing or cannot be used")          \
  X(SHARING_LOGIN_ADDRESS_BLOCKED, -8, "too many failed logins from this address")    \
  X(SHARING_LOGIN_WRONG_PASSWORD, -9, "wrong password")                               \
  X(SHARING_LOGIN_USER_NOT_ADMITTED, -10, "the link does not admit the user")         \
  X(SHARING_LOGIN_USES_EXHAUSTED, -11, "use limit reached")

/// X(name, number, meaning) for each result of VexoSharingIsAuthorized.
#define SHARING_CHECK_RESULTS(X)                                                       \
  X(SHARING_CHECK_SUCCESS, 1, "authorized")                                            \
  X(SHARING_CHECK_EXPIRED, -1, "the session or its token has expired")                 \
  X(SHARING_CHECK_USER_REFUSED, -2, "the link does not admit the user any more")       \
  X(SHARING_CHECK_GENERAL_FAILURE, -4,                                                 \
    "the database, the address or a parameter is missing or cannot be used")           \
  X(SHARING_CHECK_NO_SESSION, -5, "no such session")                                   \
  X(SHARING_CHECK_LINK_NOT_VALID, -6, "the link cannot be used any more")              \
  X(SHARING_CHECK_NO_TOKEN, -7, "no such link, or the session is not logged in to it") \
  X(SHARING_CHECK_OTHER_ADDRESS, -8, "the address is not that of the login")

#define SHARING_RESULT_CONSTANT(name, number, meaning) name = (number),
#define SHARING_RESULT_MEANING(name, number, meaning) \
  case name:                                          \
    return meaning;

/// Results of VexoSharingLogin.
enum VexoSharingLoginResult { SHARING_LOGIN_RESULTS(SHARING_RESULT_CONSTANT) };

/// Results of VexoSharingIsAuthorized.
enum VexoSharingCheckResult { SHARING_CHECK_RESULTS(SHARING_RESULT_CONSTANT) };

/// What a result of VexoSharingLogin means, as a static text; "unknown result" for any
/// other number.
static inline const char* VexoSharingLoginMeaning(int result) {
  switch (result) {
    SHARING_LOGIN_RESULTS(SHARING_RESULT_MEANING)
    default:
      return "unknown result";
  }
}

/// What a result of VexoSharingIsAuthorized means, as a static text; "unknown result" for
/// any other number.
static inline const char* VexoSharingCheckMeaning(int result) {
  switch (result) {
    SHARING_CHECK_RESULTS(SHARING_RESULT_MEANING)
    default:
      return "unknown result";
  }
}

#undef SHARING_RESULT_CONSTANT
#undef SHARING_RESULT_MEANING
