#include "base/system_account.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "fake_system.h"
#include "log_capture.h"
#include "temp_dir.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using VEXO::base::AsSystemAccount;
using VEXO::base::EnsureSystemFolder;

class EnsureSystemFolderTest : public testing::Test {
 protected:
  mode_t Mode() const {
    struct stat status = {};
    return stat(path_.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }

  fakes::TempDir folder_;
  const std::string path_ = folder_.Path("private");
  FakeSystem system_;
  fakes::LogCapture log_;
};

TEST(AsSystemAccount, Root_ActsAsTheSystemAccountUntilTheEndOfTheScope) {
  FakeSystem system;
  system.gid = 5;
  {
    const AsSystemAccount scope;
    EXPECT_TRUE(scope.good());
    EXPECT_EQ(system.uid, 1U);
    EXPECT_EQ(system.gid, 1U);
  }

  EXPECT_EQ(system.uid, 0U);
  EXPECT_EQ(system.gid, 5U);
}

TEST(AsSystemAccount, AnotherAccount_KeepsItsIds) {
  FakeSystem system;
  system.uid = 1000;
  {
    const AsSystemAccount scope;
    EXPECT_TRUE(scope.good());
  }

  EXPECT_THAT(system.calls, IsEmpty());
}

TEST(AsSystemAccount, GroupRefused_IsNotGoodAndChangesNothing) {
  FakeSystem system;
  system.refused = "setegid 1";
  {
    const AsSystemAccount scope;
    EXPECT_FALSE(scope.good());
    EXPECT_EQ(errno, EPERM);
  }

  EXPECT_THAT(system.calls, ElementsAre("setegid 1"));
}

TEST(AsSystemAccount, UserRefused_IsNotGoodAndPutsTheGroupBack) {
  FakeSystem system;
  system.gid = 5;
  system.refused = "seteuid 1";
  const AsSystemAccount scope;

  EXPECT_FALSE(scope.good());
  EXPECT_EQ(errno, EPERM);
  EXPECT_EQ(system.gid, 5U);
}

TEST(AsSystemAccount, WayBackRefused_RestoreReportsIt) {
  FakeSystem system;
  AsSystemAccount scope;
  system.refused = "seteuid 0";

  EXPECT_FALSE(scope.Restore());
  EXPECT_EQ(errno, EPERM);
}

TEST(AsSystemAccount, RestoredBefore_TheEndOfTheScopeChangesNothing) {
  FakeSystem system;
  {
    AsSystemAccount scope;
    EXPECT_TRUE(scope.Restore());
    system.calls.clear();
  }

  EXPECT_THAT(system.calls, IsEmpty());
}

TEST_F(EnsureSystemFolderTest, ExistingFolder_IsLeftAsItIs) {
  ASSERT_EQ(mkdir(path_.c_str(), 0700), 0);

  EXPECT_TRUE(EnsureSystemFolder(path_));
  EXPECT_EQ(Mode(), 0700U);
  EXPECT_THAT(system_.calls, IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EnsureSystemFolderTest, MissingFolder_RootCreatesItWhateverTheMask) {
  const mode_t mask = umask(0077);
  EXPECT_TRUE(EnsureSystemFolder(path_));
  umask(mask);

  EXPECT_EQ(Mode(), 0750U);
  EXPECT_THAT(system_.calls, ElementsAre("chown 1:1"));
  EXPECT_THAT(log_.lines(), ElementsAre(HasSubstr("/private: created")));
}

TEST_F(EnsureSystemFolderTest, MissingFolder_AnotherAccountCreatesNothing) {
  system_.uid = 1000;

  EXPECT_FALSE(EnsureSystemFolder(path_));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_NE(access(path_.c_str(), F_OK), 0);
}

TEST_F(EnsureSystemFolderTest, OwnerCannotBeSet_FolderIsRemoved) {
  system_.refused = "chown 1:1";

  EXPECT_FALSE(EnsureSystemFolder(path_));
  EXPECT_EQ(errno, EPERM);
  EXPECT_NE(access(path_.c_str(), F_OK), 0);
  EXPECT_THAT(log_.lines(), IsEmpty());
}
