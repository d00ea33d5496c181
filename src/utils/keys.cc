#include "keys.h"

extern "C" {
const char* const SZ_X_SHARING_HEADER = "HTTP_X_VEXO_SHARING";
}

namespace VEXO::sharing {

const int SHARING_HASH_LENGTH = 9;
const int SHARING_PASS_HASH_LENGTH = 6;
const int SHARING_SESSION_LENGTH = 32;
const int SHARING_MAX_RETRY_TIMES = 50;

const char* const SZF_SHARING_DB_PATH =
    "/usr/vexo/etc/private/session/sharing/sharing.db";

const char* const SZK_ID_ = "id";
const char* const SZK_HASH = "hash";
const char* const SZK_SHARING_ID = "sharing_id";
const char* const SZK_SHARING_SID = "sharing_sid";
const char* const SZK_PASSWORD_ = "password";
const char* const SZK_TEV_USERNAME = "tev_username";
const char* const SZK_TEV_PASSWORD = "tev_password";
const char* const SZK_PROJECT_NAME = "project_name";
const char* const SZK_ENABLED_ = "enabled";
const char* const SZK_AUTO_GC = "auto_gc";
const char* const SZK_OWNER_UID = "owner_uid";
const char* const SZK_OWNER_USER = "owner_user";
const char* const SZK_START_AT = "start_at";
const char* const SZK_EXPIRE_AT = "expire_at";
const char* const SZK_EXPIRE_TIMES = "expire_times";
const char* const SZK_USE_COUNT = "use_count";
const char* const SZK_ENABLE_MATCH_IP = "enable_match_ip";
const char* const SZK_PROTECT_TYPE = "protect_type";
const char* const SZK_PROTECT_TITLE = "protect_title";
const char* const SZK_PROTECT_PASSWORD = "protect_password";
const char* const SZK_PROTECT_PASSWORD_ALGO = "protect_password_algo";
const char* const SZK_PROTECT_PASSWORD_ALGO_DEFAULT = "default";
const char* const SZK_PROTECT_PASSWORD_ALGO_MD5 = "md5";
const char* const SZK_PROTECT_PASSWORD_SALT = "protect_password_salt";
const char* const SZK_PROTECT_UIDS = "protect_uids";
const char* const SZK_PROTECT_USERS = "protect_users";
const char* const SZK_PROTECT_EXTRA_USERS = "protect_extra_users";
const char* const SZK_PROTECT_GIDS = "protect_gids";
const char* const SZK_PROTECT_GROUPS = "protect_groups";
const char* const SZK_PROTECT_EXTRA_GROUPS = "protect_extra_groups";
const char* const SZK_PROTECT_PROTECT_NONE = "none";
const char* const SZK_PROTECT_PROTECT_PASSWORD = "password";
const char* const SZK_PROTECT_PROTECT_USER = "user";
const char* const SZK_REDIRECT_TYPE = "redirect_type";
const char* const SZK_REDIRECT_URI = "redirect_uri";
const char* const SZK_REDIRECT_REDIRECT_NONE = "none";
const char* const SZK_REDIRECT_REDIRECT_URLPARAM = "url_param";
const char* const SZK_REDIRECT_REDIRECT_ALWAYS = "always";
const char* const SZK_APP = "app";
const char* const SZK_PLUGINS = "plugins";
const char* const SZK_PRIVATE_DATA = "private_data";
const char* const SZK_DATA = "data";
const char* const SZK_ENTRY_ID = "entry_id";
const char* const SZK_SESSION_ID_ = "session_id";
const char* const SZK_UID_ = "uid";
const char* const SZK_IP_ = "ip";
const char* const SZK_TIMEOUT = "timeout";
const char* const SZK_EXTERNAL_IP_ = "external_ip";
const char* const SZK_ACTION = "action";
const char* const SZK_ASSISTANT = "assistant";
const char* const SZK_JSCONFIG = "jsconfig";

}  // namespace VEXO::sharing
