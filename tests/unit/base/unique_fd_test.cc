#include "base/unique_fd.h"

#include <fcntl.h>
#include <gtest/gtest.h>

using VEXO::base::UniqueFd;

namespace {

int OpenNull() { return open("/dev/null", O_RDONLY | O_CLOEXEC); }
bool IsOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

}  // namespace

TEST(UniqueFd, EndOfTheScope_ClosesAndKeepsErrno) {
  int fd = -1;
  {
    const UniqueFd owner(OpenNull());
    fd = owner.get();
    EXPECT_TRUE(owner);
    EXPECT_TRUE(IsOpen(fd));
    errno = ENOSPC;
  }

  EXPECT_EQ(errno, ENOSPC);
  EXPECT_FALSE(IsOpen(fd));
}

TEST(UniqueFd, Released_StaysOpen) {
  UniqueFd owner(OpenNull());
  const int fd = owner.Release();

  EXPECT_FALSE(owner);
  EXPECT_TRUE(IsOpen(fd));
  close(fd);
}

TEST(UniqueFd, Moved_HasOneOwner) {
  UniqueFd first(OpenNull());
  const int fd = first.get();
  UniqueFd second(std::move(first));
  UniqueFd third(OpenNull());
  const int replaced = third.get();
  third = std::move(second);

  EXPECT_EQ(third.get(), fd);
  EXPECT_TRUE(IsOpen(fd));
  EXPECT_FALSE(IsOpen(replaced));
}
