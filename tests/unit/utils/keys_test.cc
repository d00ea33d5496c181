#include "keys.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace VEXO::sharing {
namespace {

TEST(Keys, Texts_AreFixed) {
  const std::vector<std::pair<const char*, const char*>> texts = {
      {"id", SZK_ID_},
      {"hash", SZK_HASH},
      {"sharing_id", SZK_SHARING_ID},
      {"sharing_sid", SZK_SHARING_SID},
      {"password", SZK_PASSWORD_},
      {"tev_username", SZK_TEV_USERNAME},
      {"tev_password", SZK_TEV_PASSWORD},
      {"project_name", SZK_PROJECT_NAME},
      {"enabled", SZK_ENABLED_},
      {"auto_gc", SZK_AUTO_GC},
      {"owner_uid", SZK_OWNER_UID},
      {"owner_user", SZK_OWNER_USER},
      {"start_at", SZK_START_AT},
      {"expire_at", SZK_EXPIRE_AT},
      {"expire_times", SZK_EXPIRE_TIMES},
      {"use_count", SZK_USE_COUNT},
      {"enable_match_ip", SZK_ENABLE_MATCH_IP},
      {"protect_type", SZK_PROTECT_TYPE},
      {"protect_title", SZK_PROTECT_TITLE},
      {"protect_password", SZK_PROTECT_PASSWORD},
      {"protect_password_algo", SZK_PROTECT_PASSWORD_ALGO},
      {"default", SZK_PROTECT_PASSWORD_ALGO_DEFAULT},
      {"md5", SZK_PROTECT_PASSWORD_ALGO_MD5},
      {"protect_password_salt", SZK_PROTECT_PASSWORD_SALT},
      {"protect_uids", SZK_PROTECT_UIDS},
      {"protect_users", SZK_PROTECT_USERS},
      {"protect_extra_users", SZK_PROTECT_EXTRA_USERS},
      {"protect_gids", SZK_PROTECT_GIDS},
      {"protect_groups", SZK_PROTECT_GROUPS},
      {"protect_extra_groups", SZK_PROTECT_EXTRA_GROUPS},
      {"none", SZK_PROTECT_PROTECT_NONE},
      {"password", SZK_PROTECT_PROTECT_PASSWORD},
      {"user", SZK_PROTECT_PROTECT_USER},
      {"redirect_type", SZK_REDIRECT_TYPE},
      {"redirect_uri", SZK_REDIRECT_URI},
      {"none", SZK_REDIRECT_REDIRECT_NONE},
      {"url_param", SZK_REDIRECT_REDIRECT_URLPARAM},
      {"always", SZK_REDIRECT_REDIRECT_ALWAYS},
      {"app", SZK_APP},
      {"plugins", SZK_PLUGINS},
      {"private_data", SZK_PRIVATE_DATA},
      {"data", SZK_DATA},
      {"entry_id", SZK_ENTRY_ID},
      {"session_id", SZK_SESSION_ID_},
      {"uid", SZK_UID_},
      {"ip", SZK_IP_},
      {"timeout", SZK_TIMEOUT},
      {"external_ip", SZK_EXTERNAL_IP_},
      {"action", SZK_ACTION},
      {"assistant", SZK_ASSISTANT},
      {"jsconfig", SZK_JSCONFIG},
      {"/usr/vexo/etc/private/session/sharing/sharing.db", SZF_SHARING_DB_PATH},
      {"HTTP_X_VEXO_SHARING", ::SZ_X_SHARING_HEADER},
  };

  for (const auto& [text, key] : texts) EXPECT_STREQ(text, key);
}

TEST(Keys, Numbers_AreFixed) {
  EXPECT_EQ(9, SHARING_HASH_LENGTH);
  EXPECT_EQ(6, SHARING_PASS_HASH_LENGTH);
  EXPECT_EQ(32, SHARING_SESSION_LENGTH);
  EXPECT_EQ(50, SHARING_MAX_RETRY_TIMES);
  EXPECT_EQ(4294967295U, UID_ERR);
}

}  // namespace
}  // namespace VEXO::sharing
