#include <gmock/gmock.h>
#include <vexo/account.h>

#include <set>
#include <string>

#include "fake_platform.h"
#include "log_capture.h"
#include "utils.h"

namespace VEXO::sharing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

class UserGroupTest : public testing::Test {
 protected:
  UserGroupTest() {
    platform_.users["alice"] = {5001, {"alice", "family"}, ""};
    platform_.login_names["Alice"] = "alice";
    platform_.groups = {{"alice", 5001}, {"family", 6000}};
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
};

// GetRealUsername

TEST_F(UserGroupTest, GetRealUsername_Convertible_IsTheCanonicalName) {
  EXPECT_EQ("alice", GetRealUsername("Alice"));
  EXPECT_THAT(platform_.calls(), ElementsAre("VEXOUserLoginNameConvert(Alice, 493, 0)"));
}

TEST_F(UserGroupTest, GetRealUsername_NotConvertible_IsTheNameAsGiven) {
  EXPECT_EQ("nobody'\xff", GetRealUsername("nobody'\xff"));
  EXPECT_EQ("", GetRealUsername(""));
}

TEST_F(UserGroupTest, GetRealUsername_Null_IsEmptyWithoutAPlatformCall) {
  EXPECT_EQ("", GetRealUsername(nullptr));
  EXPECT_THAT(platform_.calls(), IsEmpty());
}

TEST_F(UserGroupTest, GetRealUsername_LongestNameThatFits_IsWhole) {
  const std::string longest(492, 'n');
  platform_.login_names["long"] = longest;
  platform_.login_names["longer"] = longest + "n";

  EXPECT_EQ(longest, GetRealUsername("long"));
  EXPECT_EQ("longer", GetRealUsername("longer"));
}

TEST_F(UserGroupTest, GetRealUsername_HugeName_IsTheNameAsGiven) {
  const std::string huge(1 << 20, 'n');

  EXPECT_EQ(huge, GetRealUsername(huge.c_str()));
}

// UserGet

TEST_F(UserGroupTest, UserGet_KnownUser_ReturnsTheUserOfTheCanonicalName) {
  VEXOUSER* user = nullptr;

  EXPECT_TRUE(UserGet("Alice", user));
  ASSERT_NE(nullptr, user);
  EXPECT_STREQ("alice", user->name);
  EXPECT_EQ(5001u, user->uid);
  EXPECT_THAT(platform_.calls({"VEXOUserGet"}), ElementsAre("VEXOUserGet(alice)"));
  EXPECT_THAT(log_.lines(), IsEmpty());
  VEXOUserFree(user);
}

TEST_F(UserGroupTest, UserGet_UnknownUser_LogsTheConvertedNameAndLeavesTheRecord) {
  platform_.login_names["Ghost"] = "ghost";
  VEXOUSER before = {};
  VEXOUSER* user = &before;

  EXPECT_FALSE(UserGet("Ghost", user));
  EXPECT_EQ(&before, user);
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(MatchesRegex("utils_user_group:[0-9]+ No such user \\[ghost\\]")));
}

TEST_F(UserGroupTest, UserGet_OtherResultThanMinus1_CountsAsSuccess) {
  platform_.user_results = {{"alice", 5}, {"bob", -2}};
  VEXOUSER* alice = nullptr;
  VEXOUSER* bob = nullptr;

  EXPECT_TRUE(UserGet("alice", alice));
  EXPECT_NE(nullptr, alice);
  EXPECT_TRUE(UserGet("bob", bob));
  EXPECT_EQ(nullptr, bob);
  EXPECT_THAT(log_.lines(), IsEmpty());
  VEXOUserFree(alice);
}

TEST_F(UserGroupTest, UserGet_NullName_IsLookedUpAsTheEmptyName) {
  VEXOUSER* user = nullptr;

  EXPECT_FALSE(UserGet(nullptr, user));
  EXPECT_EQ(nullptr, user);
  EXPECT_THAT(platform_.calls(), ElementsAre("VEXOUserGet()"));
}

// UserGroupsGet

class UserGroupsGetTest : public UserGroupTest {
 protected:
  bool Ask(const char* name) {
    std::string text = name;
    VEXOUSER user = {text.data(), 5001};
    return UserGroupsGet(&user, gids_);
  }

  std::set<unsigned int> gids_ = {7};
};

TEST_F(UserGroupsGetTest, Groups_AreAddedToTheSet) {
  EXPECT_TRUE(Ask("alice"));
  EXPECT_THAT(gids_, ElementsAre(7, 5001, 6000));
  EXPECT_EQ("VLIBGroupInfoHashGet(alice, 1, 0)", platform_.calls().at(0));
}

TEST_F(UserGroupsGetTest, GroupNotFound_IsLeftOut) {
  platform_.users["alice"].groups = {"alice", "gone", "family"};

  EXPECT_TRUE(Ask("alice"));
  EXPECT_THAT(gids_, ElementsAre(7, 5001, 6000));
}

TEST_F(UserGroupsGetTest, NoGroups_IsSuccessAndAddsNothing) {
  platform_.users["alice"].groups.clear();

  EXPECT_TRUE(Ask("alice"));
  EXPECT_THAT(gids_, ElementsAre(7));
}

TEST_F(UserGroupsGetTest, NoList_FailsAndLeavesTheSet) {
  EXPECT_FALSE(Ask("ghost"));
  EXPECT_THAT(gids_, ElementsAre(7));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(UserGroupsGetTest, NullUser_FailsAndLeavesTheSet) {
  EXPECT_FALSE(UserGroupsGet(nullptr, gids_));
  EXPECT_THAT(gids_, ElementsAre(7));
  EXPECT_THAT(platform_.calls(), IsEmpty());
}

// UserToUID, UIDToUser, GroupToGID, GIDToGroup

TEST_F(UserGroupTest, UserToUID_KnownUser_IsConvertedAndFound) {
  unsigned int uid = 1;

  EXPECT_TRUE(UserToUID("Alice", uid));
  EXPECT_EQ(5001u, uid);
}

TEST_F(UserGroupTest, UserToUID_UnknownUser_LeavesUidAndDoesNotLog) {
  unsigned int uid = 1;

  EXPECT_FALSE(UserToUID("ghost", uid));
  EXPECT_FALSE(UserToUID("", uid));
  EXPECT_EQ(1u, uid);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(UserGroupTest, UserToUID_ResultOtherThan0_FailsAndFreesTheRecord) {
  platform_.user_results["alice"] = 5;
  unsigned int uid = 1;

  EXPECT_FALSE(UserToUID("alice", uid));
  EXPECT_EQ(1u, uid);
  EXPECT_THAT(platform_.calls({"VEXOUserFree"}), ElementsAre("VEXOUserFree(alice)"));
}

TEST_F(UserGroupTest, UserToUID_SuccessWithoutRecord_Fails) {
  platform_.user_results["ghost"] = 0;
  unsigned int uid = 1;

  EXPECT_FALSE(UserToUID("ghost", uid));
  EXPECT_EQ(1u, uid);
}

TEST_F(UserGroupTest, UIDToUser_KnownId_IsTheName) {
  std::string name = "before";

  EXPECT_TRUE(UIDToUser(5001, name));
  EXPECT_EQ("alice", name);
}

TEST_F(UserGroupTest, UIDToUser_UnknownIdOrNoRecord_LeavesName) {
  platform_.uid_results = {{77, 0}, {78, 3}};
  std::string name = "before";

  EXPECT_FALSE(UIDToUser(9, name));
  EXPECT_FALSE(UIDToUser(77, name));
  EXPECT_FALSE(UIDToUser(78, name));
  EXPECT_FALSE(UIDToUser(UID_ERR, name));
  EXPECT_EQ("before", name);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(UserGroupTest, GroupToGID_KnownGroup_IsItsId) {
  unsigned int gid = 1;

  EXPECT_TRUE(GroupToGID("family", gid));
  EXPECT_EQ(6000u, gid);
  EXPECT_THAT(platform_.calls(), ElementsAre("VEXOGroupGetGID(family)"));
}

TEST_F(UserGroupTest, GroupToGID_UnknownGroup_LeavesGid) {
  unsigned int gid = 1;

  EXPECT_FALSE(GroupToGID("Family", gid));
  EXPECT_EQ(1u, gid);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(UserGroupTest, GIDToGroup_KnownId_IsTheName) {
  std::string name = "before";

  EXPECT_TRUE(GIDToGroup(6000, name));
  EXPECT_EQ("family", name);
}

TEST_F(UserGroupTest, GIDToGroup_UnknownIdOrNoRecord_LeavesName) {
  platform_.gid_results = {{77, 0}, {78, 3}};
  std::string name = "before";

  EXPECT_FALSE(GIDToGroup(9, name));
  EXPECT_FALSE(GIDToGroup(77, name));
  EXPECT_FALSE(GIDToGroup(78, name));
  EXPECT_EQ("before", name);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

}  // namespace
}  // namespace VEXO::sharing
