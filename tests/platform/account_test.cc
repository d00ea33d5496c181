#include "vexo/account.h"

#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <string>

using testing::Contains;

namespace {

constexpr uid_t kNoSuchId = 3999999999;

std::set<std::string> Names(const VLIBHash* table) {
  std::set<std::string> names;
  for (size_t i = 0; i < table->size; ++i) {
    if (table->keys[i] != nullptr) names.insert(table->keys[i]);
  }
  return names;
}

}  // namespace

TEST(UserGet, ExistingName_GivesTheRecord) {
  VEXOUSER* user = nullptr;

  ASSERT_EQ(VEXOUserGet("daemon", &user), 0);
  EXPECT_STREQ(user->name, "daemon");
  EXPECT_EQ(user->uid, getpwnam("daemon")->pw_uid);
  VEXOUserFree(user);
}

TEST(UserGet, NoSuchName_IsMinus1) {
  VEXOUSER* user = nullptr;

  EXPECT_EQ(VEXOUserGet("nobody-has-this-name", &user), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(VEXOUserGet("", &user), -1);
  EXPECT_EQ(VEXOUserGet(nullptr, &user), -1);
  EXPECT_EQ(VEXOUserGet(std::string(500, 'x').c_str(), &user), -1);
  EXPECT_EQ(user, nullptr);
}

TEST(UserGetByUID, Ids_AreFoundOrNot) {
  VEXOUSER* user = nullptr;

  ASSERT_EQ(VEXOUserGetByUID(0, &user), 0);
  EXPECT_STREQ(user->name, "root");
  EXPECT_EQ(user->uid, 0U);
  VEXOUserFree(user);
  user = nullptr;
  EXPECT_NE(VEXOUserGetByUID(kNoSuchId, &user), 0);
  EXPECT_EQ(user, nullptr);
}

TEST(LoginNameConvert, ExistingName_IsWrittenWhenItFits) {
  char buffer[7] = "xxxxxx";

  EXPECT_GE(VEXOUserLoginNameConvert("daemon", buffer, sizeof(buffer), 0), 1);
  EXPECT_STREQ(buffer, "daemon");
}

TEST(LoginNameConvert, UnknownNameOrNoRoom_WritesNothing) {
  char buffer[493] = "before";

  EXPECT_LT(VEXOUserLoginNameConvert("daemon", buffer, 6, 0), 1);
  EXPECT_LT(VEXOUserLoginNameConvert("daemon", nullptr, 100, 0), 1);
  EXPECT_LT(VEXOUserLoginNameConvert(std::string(500, 'x').c_str(), buffer, 493, 0), 1);
  EXPECT_LT(VEXOUserLoginNameConvert(nullptr, buffer, 493, 0), 1);
  EXPECT_STREQ(buffer, "before");
}

TEST(GroupGetGID, Names_AreFoundOrNot) {
  gid_t gid = 77;

  EXPECT_EQ(VEXOGroupGetGID("no-group-has-this-name", &gid), -1);
  EXPECT_EQ(VEXOGroupGetGID("", &gid), -1);
  EXPECT_EQ(VEXOGroupGetGID(nullptr, &gid), -1);
  EXPECT_EQ(gid, 77U);
  EXPECT_EQ(VEXOGroupGetGID("shadow", &gid), 0);
  EXPECT_EQ(gid, getgrnam("shadow")->gr_gid);
}

TEST(GroupGetByGID, Ids_AreFoundOrNot) {
  VEXOGROUP* group = nullptr;

  EXPECT_NE(VEXOGroupGetByGID(kNoSuchId, &group), 0);
  EXPECT_EQ(group, nullptr);
  ASSERT_EQ(VEXOGroupGetByGID(0, &group), 0);
  EXPECT_STREQ(group->name, "root");
  EXPECT_EQ(group->gid, 0U);
  VEXOGroupFree(group);
}

TEST(GroupInfoHash, ExistingUser_HasItsPrimaryGroup) {
  VLIBHash* const table = VLIBGroupInfoHashGet("daemon", 1, 0);
  ASSERT_NE(table, nullptr);

  EXPECT_THAT(Names(table), Contains(getgrgid(getpwnam("daemon")->pw_gid)->gr_name));
  VLIBHashFree(table);
}

TEST(GroupInfoHash, NoSuchUser_IsNull) {
  EXPECT_EQ(VLIBGroupInfoHashGet("nobody-has-this-name", 1, 0), nullptr);
  EXPECT_EQ(VLIBGroupInfoHashGet(std::string(500, 'x').c_str(), 1, 0), nullptr);
  EXPECT_EQ(VLIBGroupInfoHashGet(nullptr, 1, 0), nullptr);
}

TEST(Accounts, FreeingNull_IsAllowed) {
  VEXOUserFree(nullptr);
  VEXOGroupFree(nullptr);
  VLIBHashFree(nullptr);
}
