#include "web/record/access_log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

#include "log_capture.h"
#include "temp_dir.h"

namespace {

using web::AccessLogWriter;

std::string ContentOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// A log in a folder of its own.  Each line is appended by a process of its own, as
/// CGI programs do.
class AccessLogWriterTest : public testing::Test {
 protected:
  // The system account must be able to write.
  AccessLogWriterTest() { chmod(folder_.Path("").c_str(), 0777); }

  /// Appends the line `times` times, and returns how many lines that made in the log.
  int Append(const std::string& line, int times = 1) {
    const pid_t child = fork();
    if (child == 0) {
      const fakes::LogCapture log;
      for (int i = 0; i < times; ++i) AccessLogWriter(path_, stamp_).Append(line);
      for (const std::string& text : log.lines()) {
        if (text.find(path_ + ": visits are not logged: ") != 0) _exit(99);
      }
      _exit(static_cast<int>(log.lines().size()));
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WEXITSTATUS(status);
  }

  fakes::TempDir folder_;
  std::string path_ = folder_.Path("access.log");
  std::string stamp_ = folder_.Path("stamp");
};

TEST_F(AccessLogWriterTest, Lines_AreAppendedToANewFile) {
  const mode_t before = umask(0077);
  EXPECT_EQ(Append("one\n"), 0);
  EXPECT_EQ(Append("two\n"), 0);
  umask(before);

  EXPECT_EQ(ContentOf(path_), "one\ntwo\n");
  struct stat status = {};
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640u);
}

TEST_F(AccessLogWriterTest, MovedFile_IsFollowedByANewOne) {
  Append("one\n");
  ASSERT_EQ(rename(path_.c_str(), folder_.Path("access.log.1").c_str()), 0);
  Append("two\n");

  EXPECT_EQ(ContentOf(path_), "two\n");
}

TEST_F(AccessLogWriterTest, FailureOfSeveralProcesses_IsLoggedOnceInAWhile) {
  path_ = folder_.Path("none/access.log");
  EXPECT_EQ(Append("line\n"), 1);
  EXPECT_EQ(Append("line\n"), 0);

  const time_t hour_ago = time(nullptr) - 3600;
  const timespec times[2] = {{hour_ago, 0}, {hour_ago, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, stamp_.c_str(), times, 0), 0);
  EXPECT_EQ(Append("line\n"), 1);
  EXPECT_EQ(Append("line\n"), 0);
}

TEST_F(AccessLogWriterTest, FailureWithoutStamp_IsLoggedOnceByEachProcess) {
  path_ = folder_.Path("none/access.log");
  stamp_ = folder_.Path("none/stamp");

  EXPECT_EQ(Append("line\n", 3), 1);
  EXPECT_EQ(Append("line\n", 3), 1);
}

TEST_F(AccessLogWriterTest, FileOf64MiB_DoesNotGrow) {
  Append("line\n");
  ASSERT_EQ(truncate(path_.c_str(), 64 << 20), 0);

  EXPECT_EQ(Append("line\n"), 1);
  struct stat status = {};
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 64 << 20);
}

}  // namespace
