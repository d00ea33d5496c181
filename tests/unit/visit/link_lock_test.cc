#include "visit/link_lock.h"

#include <gmock/gmock.h>

#include "fake_platform.h"
#include "log_capture.h"
#include "temp_dir.h"

namespace VEXO::sharing {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;

class LinkLockTest : public testing::Test {
 protected:
  LinkLockTest() { platform_.ids = {1, 1, 1, 1}; }

  bool Take(LinkLock& lock, const std::string& hash) {
    return lock.Take(folder_.Path("."), hash, milliseconds(10));
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
  fakes::TempDir folder_;
};

TEST_F(LinkLockTest, Take_LockedLink_IsRefused) {
  LinkLock waiting;
  {
    LinkLock holder;
    ASSERT_TRUE(Take(holder, "hash"));
    EXPECT_FALSE(Take(waiting, "hash"));
    EXPECT_THAT(log_.lines(), ElementsAre(HasSubstr("visit.lock: cannot lock a link")));
  }
  EXPECT_TRUE(Take(waiting, "hash"));
}

TEST_F(LinkLockTest, Take_AnotherLink_DoesNotWait) {
  LinkLock holder;
  LinkLock other;

  EXPECT_TRUE(Take(holder, "hash"));
  EXPECT_TRUE(Take(other, "other"));
}

TEST_F(LinkLockTest, Take_FileCannotBeCreated_IsRefused) {
  LinkLock lock;

  EXPECT_FALSE(lock.Take(folder_.Path("missing"), "hash", milliseconds(0)));
  EXPECT_THAT(log_.lines(), ElementsAre(HasSubstr("visit.lock: No such file")));
}

}  // namespace
}  // namespace VEXO::sharing
