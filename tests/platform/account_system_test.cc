#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/vfs.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "vexo/account.h"

using testing::IsSupersetOf;

namespace {

const char* const kGroups = "/etc/group";
constexpr long kTmpfs = 0x01021994;

std::set<std::string> GroupsOf(const char* user) {
  std::set<std::string> names;
  VLIBHash* const table = VLIBGroupInfoHashGet(user, 1, 0);
  for (size_t i = 0; table != nullptr && i < table->size; ++i) {
    names.insert(table->keys[i]);
  }
  VLIBHashFree(table);
  return names;
}

/// Restores the group file after each test.
class Accounts : public testing::Test {
 protected:
  void SetUp() override {
    struct statfs status {};
    ASSERT_EQ(statfs(kGroups, &status), 0);
    ASSERT_EQ(status.f_type, kTmpfs) << "this test must run in the private namespace";
    std::ifstream file(kGroups);
    before_.assign(std::istreambuf_iterator<char>(file), {});
  }
  void TearDown() override {
    if (!before_.empty()) std::ofstream(kGroups) << before_;
  }
  void AddGroups(const std::string& lines) { std::ofstream(kGroups) << before_ << lines; }

 private:
  std::string before_;
};

}  // namespace

TEST_F(Accounts, GroupsOfAUser_ArePrimaryAndSupplementary) {
  EXPECT_THAT(GroupsOf("alice"), IsSupersetOf({"alice", "staff-test"}));
}

TEST_F(Accounts, UserInVeryManyGroups_HasThemAll) {
  std::string lines;
  for (int i = 0; i < 500; ++i) {
    lines += "many-" + std::to_string(i) + ":x:" + std::to_string(70000 + i) + ":alice\n";
  }
  AddGroups(lines);

  const std::set<std::string> names = GroupsOf("alice");
  EXPECT_GE(names.size(), 502U);
  EXPECT_THAT(names, IsSupersetOf({"alice", "staff-test", "many-0", "many-499"}));
}

TEST_F(Accounts, GroupWithVeryManyMembers_IsFound) {
  std::string line = "crowd:x:70000:";
  for (int i = 0; i < 10000; ++i) line += "member" + std::to_string(i) + ",";
  AddGroups(line + "alice\n");
  gid_t gid = 0;
  VEXOGROUP* group = nullptr;

  EXPECT_EQ(VEXOGroupGetGID("crowd", &gid), 0);
  EXPECT_EQ(gid, 70000U);
  ASSERT_EQ(VEXOGroupGetByGID(70000, &group), 0);
  EXPECT_STREQ(group->name, "crowd");
  VEXOGroupFree(group);
  EXPECT_THAT(GroupsOf("alice"), IsSupersetOf({"crowd"}));
}
