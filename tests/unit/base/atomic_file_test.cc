#include "base/atomic_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "temp_dir.h"

using fakes::TempDir;
using VEXO::base::AtomicFile;
using Existing = VEXO::base::AtomicFile::Existing;

namespace {

std::string ContentOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

mode_t ModeOf(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

size_t Names(const TempDir& dir) {
  const std::filesystem::directory_iterator names(dir.Path(""));
  return std::distance(begin(names), end(names));
}

}  // namespace

TEST(AtomicFile, UntilItIsPlaced_OnlyThePrivateOtherNameExists) {
  const TempDir dir;
  const std::string path = dir.Path("a");
  AtomicFile file(path);
  ASSERT_TRUE(file.Create());
  ASSERT_TRUE(file.Append("content"));

  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_EQ(ModeOf(file.working_path()), 0600U);
  EXPECT_TRUE(file.PlaceDurably(Existing::kKeep));
  EXPECT_EQ(ContentOf(path), "content");
  EXPECT_EQ(Names(dir), 1U);
}

TEST(AtomicFile, NotPlaced_IsRemovedAndErrnoKept) {
  const TempDir dir;
  {
    AtomicFile file(dir.Path("a"));
    ASSERT_TRUE(file.Create());
    ASSERT_TRUE(file.Append("content"));
    errno = ENOSPC;
  }

  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(Names(dir), 0U);
}

TEST(AtomicFile, ExistingFile_IsKeptOrReplacedAsAsked) {
  const TempDir dir;
  const std::string path = dir.Write("a", "old");
  {
    AtomicFile file(path);
    ASSERT_TRUE(file.Create());
    ASSERT_TRUE(file.Append("new"));
    EXPECT_FALSE(file.Place(Existing::kKeep));
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(ContentOf(path), "old");

    EXPECT_TRUE(file.Place(Existing::kReplace));
  }
  EXPECT_EQ(ContentOf(path), "new");
  EXPECT_EQ(Names(dir), 1U);
}

TEST(AtomicFile, Access_IsSetBeforeTheFileHasItsName) {
  const TempDir dir;
  AtomicFile file(dir.Path("a"));
  ASSERT_TRUE(file.Create());

  EXPECT_TRUE(file.SetAccess(-1, -1, 0640));
  EXPECT_EQ(ModeOf(file.working_path()), 0640U);
}

TEST(AtomicFile, LargeContent_IsWrittenCompletely) {
  const TempDir dir;
  AtomicFile file(dir.Path("a"));
  ASSERT_TRUE(file.Create());
  std::string expected;
  for (int i = 0; i < 30000; ++i) {
    const std::string line = std::to_string(i) + "\n";
    ASSERT_TRUE(file.Append(line));
    expected += line;
  }

  ASSERT_TRUE(file.Place(Existing::kKeep));
  EXPECT_EQ(ContentOf(dir.Path("a")), expected);
}

TEST(AtomicFile, NoFolder_FailsWithTheReason) {
  const TempDir dir;
  AtomicFile file(dir.Path("none/a"));

  EXPECT_FALSE(file.Create());
  EXPECT_EQ(errno, ENOENT);
}

TEST(AtomicFile, FullDisk_FailsAndPlacesNothing) {
  const TempDir dir;
  const std::string path = dir.Path("a");
  AtomicFile file(path);
  ASSERT_TRUE(file.Create());
  // Every write to /dev/full fails with ENOSPC.
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  struct stat working = {};
  ASSERT_EQ(stat(file.working_path().c_str(), &working), 0);
  for (int fd = 3; fd < full; ++fd) {
    struct stat status = {};
    if (fstat(fd, &status) == 0 && status.st_ino == working.st_ino &&
        status.st_dev == working.st_dev) {
      ASSERT_EQ(dup2(full, fd), fd);
    }
  }
  close(full);
  ASSERT_TRUE(file.Append("content"));

  EXPECT_FALSE(file.PlaceDurably(Existing::kKeep));
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_FALSE(std::filesystem::exists(path));
}
