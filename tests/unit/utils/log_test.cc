#include "utils/log.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>

#include "log_capture.h"

namespace VEXO::sharing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const char kSource[] = "somewhere";

bool RefuseIf(bool condition, int* evaluations) {
  SHARING_REFUSE_IF(77, (++*evaluations, condition), "the \"given\" text %m %s");
  return true;
}

TEST(Log, LogError_HasErrorPriorityAndTheCallersErrno) {
  fakes::LogCapture log;
  errno = ENOENT;

  LogError("%s:%d failed, %m", kSource, 5);
  EXPECT_EQ(ENOENT, errno);
  EXPECT_THAT(log.lines(), ElementsAre("somewhere:5 failed, No such file or directory"));
  EXPECT_THAT(log.priorities(), ElementsAre(LOG_ERR));
}

TEST(Log, RefuseIf_ConditionHolds_LogsGivenLineAndTextAndReturnsFalse) {
  fakes::LogCapture log;
  int evaluations = 0;
  errno = EACCES;

  EXPECT_FALSE(RefuseIf(true, &evaluations));
  EXPECT_EQ(1, evaluations);
  EXPECT_THAT(
      log.lines(),
      ElementsAre("somewhere:77 (" + std::to_string(getpid()) +
                  ") Failed [the \"given\" text %m %s], err=Permission denied\n\n"));
}

TEST(Log, RefuseIf_ConditionDoesNotHold_GoesOnSilently) {
  fakes::LogCapture log;
  int evaluations = 0;

  EXPECT_TRUE(RefuseIf(false, &evaluations));
  EXPECT_EQ(1, evaluations);
  EXPECT_THAT(log.lines(), IsEmpty());
}

}  // namespace
}  // namespace VEXO::sharing
