#include "base/system_account.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "fake_system.h"

using testing::ElementsAre;
using testing::IsEmpty;
using VEXO::base::AsSystemAccount;

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
