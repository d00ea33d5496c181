#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "log_capture.h"
#include "support.h"
#include "vexo/core.h"

using fakes::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
namespace fs = std::filesystem;

namespace {

constexpr uid_t kSystem = 1;

const char* const kFile = "/usr/vexo/moved.db";
const char* const kTarget = "/tmp/moved.db";

std::string FirstLine(FILE* stream) {
  char line[200] = "";
  return fgets(line, sizeof(line), stream) == nullptr ? "" : line;
}

void Write(const std::string& path, const std::string& text, mode_t mode = 0644) {
  std::ofstream(path) << text;
  ASSERT_EQ(chmod(path.c_str(), mode), 0);
}

std::string Read(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

mode_t ModeOf(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

/// Moves the file to /tmp/ as the recovery of a database does.  The exit status of mv, or
/// -1 when it was not started.
int Move() {
  FILE* const stream =
      VLIBCPopen("/bin/mv", "r", kFile, "/tmp/", static_cast<const char*>(nullptr));
  return stream == nullptr ? -1 : VLIBCPclose(stream);
}

/// What was renamed to make room.
std::vector<std::string> Older() {
  std::vector<std::string> paths;
  for (const auto& file : fs::directory_iterator("/tmp")) {
    if (file.path().string().find("moved.db.older-") != std::string::npos) {
      paths.push_back(file.path());
    }
  }
  return paths;
}

class PrivateMove : public testing::Test {
 protected:
  void SetUp() override { Clean(); }
  void TearDown() override { Clean(); }

  static void Clean() {
    fs::remove_all(kFile);
    fs::remove_all(kTarget);
    for (const std::string& path : Older()) fs::remove_all(path);
  }
};

}  // namespace

TEST(PopenAsRoot, EffectiveIds_AreInherited) {
  InChild([] {
    ASSERT_EQ(setresgid(-1, kSystem, -1), 0);
    ASSERT_EQ(setresuid(-1, kSystem, -1), 0);
    FILE* const stream = VLIBCPopen(
        "/bin/sh", "r", "-pc", "echo $(id -ru) $(id -u) $(id -rg) $(id -g)", nullptr);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(FirstLine(stream), "0 1 0 1\n");
    EXPECT_EQ(VLIBCPclose(stream), 0);
  });
}

TEST_F(PrivateMove, FileOfRoot_CanBeReadByRootOnly) {
  const LogCapture log;
  Write(kFile, "secret");
  EXPECT_EQ(Move(), 0);

  EXPECT_FALSE(fs::exists(kFile));
  EXPECT_EQ(Read(kTarget), "secret");
  EXPECT_EQ(ModeOf(kTarget), 0600U);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(PrivateMove, WithoutProc_FileOfRootCanBeReadByRootOnly) {
  Write(kFile, "secret");
  InChild([] {
    ASSERT_EQ(unshare(CLONE_NEWNS), 0);
    ASSERT_EQ(mount("tmpfs", "/proc", "tmpfs", 0, ""), 0);
    EXPECT_EQ(Move(), 0);
  });

  EXPECT_EQ(Read(kTarget), "secret");
  EXPECT_EQ(ModeOf(kTarget), 0600U);
}

TEST_F(PrivateMove, SecondFile_LeavesTheFirstUnderAnotherName) {
  for (const char* content : {"first", "second", "third"}) {
    Write(kFile, content);
    EXPECT_EQ(Move(), 0);
    EXPECT_EQ(Read(kTarget), content);
  }

  const std::vector<std::string> older = Older();
  ASSERT_THAT(older, SizeIs(2));
  EXPECT_EQ(Read(older[0]).size() + Read(older[1]).size(), 11U);
  EXPECT_EQ(ModeOf(older[0]), 0600U);
}

TEST_F(PrivateMove, FolderOfThatNameOfAnotherUser_DoesNotBlockIt) {
  ASSERT_TRUE(fs::create_directories(std::string(kTarget) + "/inside"));
  ASSERT_EQ(chown(kTarget, 5001, 5001), 0);
  Write(kFile, "secret");
  const LogCapture log;
  EXPECT_EQ(Move(), 0);

  EXPECT_EQ(Read(kTarget), "secret");
  ASSERT_THAT(Older(), SizeIs(1));
  EXPECT_TRUE(fs::exists(Older()[0] + "/inside"));
  EXPECT_THAT(log.lines(),
              ElementsAre(HasSubstr("/tmp/moved.db: renamed to " + Older()[0])));
}

TEST_F(PrivateMove, SymbolicLinkOfThatName_IsNotFollowed) {
  Write("/usr/vexo/victim", "victim");
  fs::create_symlink("/usr/vexo/victim", kTarget);
  Write(kFile, "secret");
  EXPECT_EQ(Move(), 0);

  EXPECT_FALSE(fs::is_symlink(kTarget));
  EXPECT_EQ(Read(kTarget), "secret");
  EXPECT_EQ(Read("/usr/vexo/victim"), "victim");
}

TEST_F(PrivateMove, TargetThatCannotBeRenamed_TheFileStays) {
  fs::create_directory(kTarget);
  ASSERT_EQ(mount("tmpfs", kTarget, "tmpfs", 0, ""), 0);
  Write(kFile, "secret");
  const LogCapture log;
  EXPECT_EQ(Move(), -1);
  ASSERT_EQ(umount(kTarget), 0);

  EXPECT_EQ(Read(kFile), "secret");
  EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("not moved")));
}

TEST_F(PrivateMove, FileOfAnotherAccount_IsMovedAsItIs) {
  Write(kFile, "x", 0660);
  ASSERT_EQ(chown(kFile, kSystem, kSystem), 0);
  EXPECT_EQ(Move(), 0);

  EXPECT_EQ(ModeOf(kTarget), 0660U);
}

TEST_F(PrivateMove, MissingFile_IsAnErrorOfTheMover) { EXPECT_GT(Move(), 0); }
