#pragma once

/// @file
/// Constants: sizes, the path of the database, and the names of columns, JSON members and
/// request parameters.

/// Marks the symbols that the shared library exports.
#define SHARING_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/// CGI name of the request header that marks a sharing request.  Only callers use it.
SHARING_EXPORT extern const char* const SZ_X_SHARING_HEADER;

#ifdef __cplusplus
}

namespace VEXO::sharing {

/// The user id of an owner or user that is not set.
constexpr unsigned int UID_ERR = 4294967295U;

/// Length in characters of a new link's random hash.
SHARING_EXPORT extern const int SHARING_HASH_LENGTH;
/// Length in characters of the salt of a protect password.
SHARING_EXPORT extern const int SHARING_PASS_HASH_LENGTH;
/// Length in characters of a new session id.
SHARING_EXPORT extern const int SHARING_SESSION_LENGTH;
/// How often a failed insert under a random hash or session id is tried again.
SHARING_EXPORT extern const int SHARING_MAX_RETRY_TIMES;

/// Path of the database file.
SHARING_EXPORT extern const char* const SZF_SHARING_DB_PATH;

// Names of columns, JSON members and request parameters.
SHARING_EXPORT extern const char* const SZK_ID_;
SHARING_EXPORT extern const char* const SZK_HASH;
SHARING_EXPORT extern const char* const SZK_SHARING_ID;
SHARING_EXPORT extern const char* const SZK_SHARING_SID;
SHARING_EXPORT extern const char* const SZK_PASSWORD_;
SHARING_EXPORT extern const char* const SZK_TEV_USERNAME;
SHARING_EXPORT extern const char* const SZK_TEV_PASSWORD;
SHARING_EXPORT extern const char* const SZK_PROJECT_NAME;
SHARING_EXPORT extern const char* const SZK_ENABLED_;
SHARING_EXPORT extern const char* const SZK_AUTO_GC;
SHARING_EXPORT extern const char* const SZK_OWNER_UID;
SHARING_EXPORT extern const char* const SZK_OWNER_USER;
SHARING_EXPORT extern const char* const SZK_START_AT;
SHARING_EXPORT extern const char* const SZK_EXPIRE_AT;
SHARING_EXPORT extern const char* const SZK_EXPIRE_TIMES;
SHARING_EXPORT extern const char* const SZK_USE_COUNT;
SHARING_EXPORT extern const char* const SZK_ENABLE_MATCH_IP;
SHARING_EXPORT extern const char* const SZK_PROTECT_TYPE;
SHARING_EXPORT extern const char* const SZK_PROTECT_TITLE;
SHARING_EXPORT extern const char* const SZK_PROTECT_PASSWORD;
SHARING_EXPORT extern const char* const SZK_PROTECT_PASSWORD_ALGO;
SHARING_EXPORT extern const char* const SZK_PROTECT_PASSWORD_ALGO_DEFAULT;
SHARING_EXPORT extern const char* const SZK_PROTECT_PASSWORD_ALGO_MD5;
SHARING_EXPORT extern const char* const SZK_PROTECT_PASSWORD_SALT;
SHARING_EXPORT extern const char* const SZK_PROTECT_UIDS;
SHARING_EXPORT extern const char* const SZK_PROTECT_USERS;
SHARING_EXPORT extern const char* const SZK_PROTECT_EXTRA_USERS;
SHARING_EXPORT extern const char* const SZK_PROTECT_GIDS;
SHARING_EXPORT extern const char* const SZK_PROTECT_GROUPS;
SHARING_EXPORT extern const char* const SZK_PROTECT_EXTRA_GROUPS;
SHARING_EXPORT extern const char* const SZK_PROTECT_PROTECT_NONE;
SHARING_EXPORT extern const char* const SZK_PROTECT_PROTECT_PASSWORD;
SHARING_EXPORT extern const char* const SZK_PROTECT_PROTECT_USER;
SHARING_EXPORT extern const char* const SZK_REDIRECT_TYPE;
SHARING_EXPORT extern const char* const SZK_REDIRECT_URI;
SHARING_EXPORT extern const char* const SZK_REDIRECT_REDIRECT_NONE;
SHARING_EXPORT extern const char* const SZK_REDIRECT_REDIRECT_URLPARAM;
SHARING_EXPORT extern const char* const SZK_REDIRECT_REDIRECT_ALWAYS;
SHARING_EXPORT extern const char* const SZK_APP;
SHARING_EXPORT extern const char* const SZK_PLUGINS;
SHARING_EXPORT extern const char* const SZK_PRIVATE_DATA;
SHARING_EXPORT extern const char* const SZK_DATA;
SHARING_EXPORT extern const char* const SZK_ENTRY_ID;
SHARING_EXPORT extern const char* const SZK_SESSION_ID_;
SHARING_EXPORT extern const char* const SZK_UID_;
SHARING_EXPORT extern const char* const SZK_IP_;
SHARING_EXPORT extern const char* const SZK_TIMEOUT;
SHARING_EXPORT extern const char* const SZK_EXTERNAL_IP_;
SHARING_EXPORT extern const char* const SZK_ACTION;
SHARING_EXPORT extern const char* const SZK_ASSISTANT;
SHARING_EXPORT extern const char* const SZK_JSCONFIG;

}  // namespace VEXO::sharing
#endif
