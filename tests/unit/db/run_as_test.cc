#include "db/run_as.h"

#include <gmock/gmock.h>
#include <syslog.h>

#include <cerrno>
#include <memory>

#include "fake_platform.h"
#include "log_capture.h"
#include "store_test.h"

namespace VEXO::sharing::db {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned int kNone = -1;

class RunAsTest : public testing::Test {
 protected:
  void SetEffective(unsigned int euid, unsigned int egid) {
    platform_.ids = {0, euid, 0, egid};
  }
  void ExpectEffective(unsigned int euid, unsigned int egid) {
    EXPECT_EQ(euid, platform_.ids.euid);
    EXPECT_EQ(egid, platform_.ids.egid);
    EXPECT_EQ(0u, platform_.ids.uid);
    EXPECT_EQ(0u, platform_.ids.gid);
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
};

TEST_F(RunAsTest, Scope_IdsAlreadyThere_IsInForceAndChangesNothing) {
  SetEffective(1, 1);

  {
    const RunAs system(1, 1, "source", 7);
    EXPECT_TRUE(system);
  }
  EXPECT_THAT(platform_.calls(), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(RunAsTest, Scope_OrdinaryCaller_SwitchesThroughRootBothWays) {
  SetEffective(1000, 2000);

  {
    const RunAs system(1, 1, "source", 7);
    EXPECT_TRUE(system);
    EXPECT_EQ(kEnter, platform_.calls());
    ExpectEffective(1, 1);
    platform_.ForgetCalls();
  }
  EXPECT_EQ(kLeave, platform_.calls());
  ExpectEffective(1000, 2000);
}

TEST_F(RunAsTest, Scope_RootCaller_DoesNotBecomeRootFirst) {
  SetEffective(0, 0);

  {
    const RunAs system(1, 1, "source", 7);
    EXPECT_TRUE(system);
    EXPECT_THAT(platform_.calls(),
                ElementsAre("setresgid(-1, 1, -1)", "setresuid(-1, 1, -1)"));
    ExpectEffective(1, 1);
    platform_.ForgetCalls();
  }
  EXPECT_EQ("setresuid(-1, 0, -1)", platform_.calls().at(0));
  EXPECT_EQ("setresgid(-1, 0, -1)", platform_.calls().at(1));
  ExpectEffective(0, 0);
}

TEST_F(RunAsTest, Scope_RightUserAlready_ChangesTheGroupAlone) {
  SetEffective(1, 2000);

  {
    const RunAs system(1, 1, "source", 7);
    EXPECT_TRUE(system);
    EXPECT_THAT(platform_.calls(), ElementsAre("setresgid(-1, 1, -1)"));
    platform_.ForgetCalls();
  }
  EXPECT_THAT(platform_.calls(), ElementsAre("setresgid(-1, 2000, -1)"));
  ExpectEffective(1, 2000);
}

TEST_F(RunAsTest, Scope_RightGroupAlready_ChangesTheUserAlone) {
  SetEffective(1000, 1);

  {
    const RunAs system(1, 1, "source", 7);
    EXPECT_TRUE(system);
    EXPECT_THAT(platform_.calls(),
                ElementsAre("setresuid(-1, 0, -1)", "setresuid(-1, 1, -1)"));
    platform_.ForgetCalls();
  }
  EXPECT_THAT(platform_.calls(),
              ElementsAre("setresuid(-1, 0, -1)", "setresuid(-1, 1000, -1)"));
  ExpectEffective(1000, 1);
}

TEST_F(RunAsTest, RootScope_OrdinaryCaller_TakesUserThenGroup) {
  SetEffective(1000, 2000);

  {
    const RunAs root(0, 0, "source", 7);
    EXPECT_TRUE(root);
    EXPECT_THAT(platform_.calls(),
                ElementsAre("setresuid(-1, 0, -1)", "setresgid(-1, 0, -1)",
                            "setresuid(-1, 0, -1)"));
    ExpectEffective(0, 0);
    platform_.ForgetCalls();
  }
  EXPECT_THAT(platform_.calls(),
              ElementsAre("setresgid(-1, 2000, -1)", "setresuid(-1, 1000, -1)"));
  ExpectEffective(1000, 2000);
}

TEST_F(RunAsTest, Scope_AnyCallFails_IsNotInForceLoggedAndRestored) {
  for (int n = 1; n <= 3; ++n) {
    SCOPED_TRACE(n);
    fakes::LogCapture log;
    SetEffective(1000, 2000);
    platform_.FailCall(n);

    {
      const RunAs system(1, 1, "source", 7);
      EXPECT_FALSE(system);
    }
    EXPECT_TRUE(platform_.injected());
    EXPECT_THAT(log.lines(), ElementsAre("source:7 ERROR: IF_RUN_AS(1, 1)"));
    EXPECT_THAT(log.priorities(), ElementsAre(LOG_AUTH | LOG_ERR));
    ExpectEffective(1000, 2000);
  }
}

TEST_F(RunAsTest, Scope_FailedCall_StopsTheSwitch) {
  SetEffective(1000, 2000);
  platform_.FailCall(1);

  const RunAs system(1, 1, "source", 7);
  EXPECT_THAT(platform_.calls(), ElementsAre("setresuid(-1, 0, -1)"));
}

TEST_F(RunAsTest, Scope_CallerWithoutRights_IsNotInForce) {
  platform_.ids = {1000, 1000, 2000, 2000};
  platform_.ids_enforced = true;

  {
    const RunAs system(1, 1, "source", 7);
    EXPECT_FALSE(system);
  }
  EXPECT_THAT(log_.lines(), ElementsAre("source:7 ERROR: IF_RUN_AS(1, 1)"));
  EXPECT_EQ(1000u, platform_.ids.euid);
  EXPECT_EQ(2000u, platform_.ids.egid);
}

TEST_F(RunAsTest, Scope_SystemAccountWithRootBehindIt_GoesBack) {
  platform_.ids = {0, 1000, 0, 2000};
  platform_.ids_enforced = true;

  {
    const RunAs system(1, 1, "source", 7);
    EXPECT_TRUE(system);
  }
  ExpectEffective(1000, 2000);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(RunAsTest, Leaving_RootCannotBeTaken_IsLoggedAsCriticalAndNothingElseHappens) {
  SetEffective(1000, 2000);

  {
    const RunAs system(1, 1, "source", 7);
    ASSERT_TRUE(system);
    platform_.ForgetCalls();
    platform_.FailCall(1);
  }
  EXPECT_THAT(platform_.calls(), ElementsAre("setresuid(-1, 0, -1)"));
  ExpectEffective(1, 1);
  EXPECT_THAT(log_.lines(), ElementsAre("source:7 ERROR: ~IF_RUN_AS(1000, 2000)"));
  EXPECT_THAT(log_.priorities(), ElementsAre(LOG_AUTH | LOG_CRIT));
}

TEST_F(RunAsTest, Leaving_LaterCallFails_IsLoggedOnceAsCriticalAndTheOtherIsMade) {
  for (const int n : {2, 3}) {
    SCOPED_TRACE(n);
    fakes::LogCapture log;
    SetEffective(1000, 2000);

    {
      const RunAs system(1, 1, "source", 7);
      ASSERT_TRUE(system);
      platform_.ForgetCalls();
      platform_.FailCall(n);
    }
    EXPECT_TRUE(platform_.injected());
    EXPECT_EQ(kLeave, platform_.calls());
    EXPECT_THAT(log.lines(), ElementsAre("source:7 ERROR: ~IF_RUN_AS(1000, 2000)"));
    EXPECT_THAT(log.priorities(), ElementsAre(LOG_AUTH | LOG_CRIT));
  }
}

TEST_F(RunAsTest, Leaving_GroupCannotBeRestored_UserIsStillRestored) {
  SetEffective(1000, 2000);

  {
    const RunAs system(1, 1, "source", 7);
    ASSERT_TRUE(system);
    platform_.FailOnce("setresgid");
  }
  ExpectEffective(1000, 1);
  EXPECT_THAT(log_.lines(), ElementsAre("source:7 ERROR: ~IF_RUN_AS(1000, 2000)"));
}

TEST_F(RunAsTest, Leaving_IdsAlreadyBack_DoesNothing) {
  SetEffective(1000, 2000);

  {
    const RunAs system(1, 1, "source", 7);
    SetEffective(1000, 2000);
    platform_.ForgetCalls();
  }
  EXPECT_THAT(platform_.calls(), IsEmpty());
}

TEST_F(RunAsTest, Leaving_IdsChangedInside_StartsFromThoseInForce) {
  SetEffective(1000, 2000);

  {
    const RunAs system(1, 1, "source", 7);
    SetEffective(0, 1);
    platform_.ForgetCalls();
  }
  EXPECT_THAT(platform_.calls(),
              ElementsAre("setresgid(-1, 2000, -1)", "setresuid(-1, 1000, -1)"));
}

TEST_F(RunAsTest, Leaving_RecordedIdIsMinus1_IsNeverRestored) {
  SetEffective(kNone, kNone);

  {
    const RunAs system(1, 1, "source", 7);
    EXPECT_TRUE(system);
    platform_.ForgetCalls();
  }
  EXPECT_THAT(platform_.calls(), ElementsAre("setresuid(-1, 0, -1)"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(RunAsTest, Leaving_KeepsTheErrorNumberOfTheWorkInside) {
  for (const bool fails : {false, true}) {
    SetEffective(1000, 2000);

    {
      const RunAs system(1, 1, "source", 7);
      platform_.FailCall(fails ? 1 : 0);
      errno = ENOSPC;
    }
    EXPECT_EQ(ENOSPC, errno);
  }
}

TEST_F(RunAsTest, Scopes_Nested_EachRestoresTheIdsItFound) {
  SetEffective(1000, 2000);
  const auto outer = std::make_unique<RunAs>(1, 1, "source", 7);

  {
    const RunAs inner(0, 0, "source", 8);
    ExpectEffective(0, 0);
  }
  ExpectEffective(1, 1);
}

}  // namespace
}  // namespace VEXO::sharing::db
