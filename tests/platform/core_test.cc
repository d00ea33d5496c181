#include "vexo/core.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support.h"
#include "temp_dir.h"

using fakes::TempDir;

namespace {

std::string ReadAll(FILE* stream) {
  std::string text;
  char buffer[4096];
  size_t got;
  while ((got = fread(buffer, 1, sizeof(buffer), stream)) > 0) text.append(buffer, got);
  return text;
}

/// Whether the process has a child, running or not yet waited for.
bool HasChild() { return waitid(P_ALL, 0, nullptr, WEXITED | WNOHANG | WNOWAIT) == 0; }

/// The set behind `name` in the text of /proc/self/status; bit 0 is signal 1.
unsigned long long SignalSet(const std::string& status, const std::string& name) {
  const size_t found = status.find(name);
  EXPECT_NE(found, std::string::npos);
  return strtoull(status.c_str() + found + name.size(), nullptr, 16);
}

volatile sig_atomic_t alarms = 0;
volatile sig_atomic_t to_child = -1;

/// The third signal, and no earlier one, lets the child end.
void CountAlarm(int) {
  if (++alarms == 3 && write(to_child, "\n", 1) != 1) abort();
}

mode_t ModeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(VLIBCFileStat(path.c_str(), 1, &status), 0);
  return status.st_mode & 07777;
}

}  // namespace

TEST(FileExist, FileOrFolder_Is1AndNothingElseIs) {
  const TempDir dir;

  EXPECT_EQ(VLIBCFileExist(dir.Write("file", "").c_str()), 1);
  EXPECT_EQ(VLIBCFileExist(dir.Path("").c_str()), 1);
  EXPECT_EQ(VLIBCFileExist(dir.Path("missing").c_str()), 0);
  EXPECT_EQ(VLIBCFileExist(""), 0);
  EXPECT_EQ(VLIBCFileExist(nullptr), 0);
}

TEST(FileTouch, MissingFile_IsCreatedEmpty) {
  const TempDir dir;
  const std::string path = dir.Path("new");

  EXPECT_EQ(VLIBCFileTouch(path.c_str()), 0);
  struct stat status {};
  EXPECT_EQ(VLIBCFileStat(path.c_str(), 0, &status), 0);
  EXPECT_TRUE(S_ISREG(status.st_mode));
  EXPECT_EQ(status.st_size, 0);
}

TEST(FileTouch, NewFile_IsForItsOwnerAloneUntilTheModeIsSet) {
  const TempDir dir;
  const mode_t before = umask(0);

  EXPECT_EQ(VLIBCFileTouch(dir.Path("new").c_str()), 0);
  umask(before);
  EXPECT_EQ(ModeOf(dir.Path("new")), 0600U);
}

TEST(FileTouch, ExistingFile_IsLeftAsItIs) {
  const TempDir dir;
  const std::string path = dir.Write("file", "text");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);

  EXPECT_EQ(VLIBCFileTouch(path.c_str()), 0);
  struct stat status {};
  EXPECT_EQ(VLIBCFileStat(path.c_str(), 1, &status), 0);
  EXPECT_EQ(status.st_size, 4);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST(FileTouch, DanglingLink_IsAFailureAndItsTargetIsNotCreated) {
  const TempDir dir;
  ASSERT_EQ(symlink(dir.Path("target").c_str(), dir.Path("link").c_str()), 0);

  EXPECT_EQ(VLIBCFileTouch(dir.Path("link").c_str()), -1);
  EXPECT_EQ(VLIBCFileExist(dir.Path("target").c_str()), 0);
}

TEST(FileTouch, MissingFolder_IsAFailureWithItsReason) {
  const TempDir dir;

  EXPECT_EQ(VLIBCFileTouch(dir.Path("no/file").c_str()), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(VLIBCFileTouch(nullptr), -1);
}

TEST(FileStat, Link_IsFollowedOnRequestOnly) {
  const TempDir dir;
  const std::string file = dir.Write("file", "text");
  const std::string link = dir.Path("link");
  ASSERT_EQ(symlink(file.c_str(), link.c_str()), 0);
  struct stat status {};

  EXPECT_EQ(VLIBCFileStat(link.c_str(), 1, &status), 0);
  EXPECT_TRUE(S_ISREG(status.st_mode));
  EXPECT_EQ(VLIBCFileStat(link.c_str(), 0, &status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));
  EXPECT_EQ(VLIBCFileStat(dir.Path("missing").c_str(), 1, &status), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST(AclChmod, PathOrDescriptor_GetsTheMode) {
  const TempDir dir;
  const std::string by_path = dir.Write("by_path", "");
  const std::string by_fd = dir.Write("by_fd", "");
  const int fd = open(by_fd.c_str(), O_RDONLY | O_CLOEXEC);

  EXPECT_EQ(VEXOFSAclChmod(by_path.c_str(), -1, 0660), 0);
  EXPECT_EQ(ModeOf(by_path), 0660U);
  EXPECT_EQ(VEXOFSAclChmod(by_path.c_str(), fd, 0604), 0);
  EXPECT_EQ(ModeOf(by_path), 0660U);
  EXPECT_EQ(ModeOf(by_fd), 0604U);
  EXPECT_EQ(VEXOFSAclChmod(dir.Path("missing").c_str(), -1, 0600), -1);
  EXPECT_EQ(VEXOFSAclChmod(nullptr, -1, 0600), -1);
  close(fd);
}

TEST(Popen, Arguments_ArriveAsTheyAre) {
  FILE* const stream =
      VLIBCPopen("/usr/bin/printf", "r", "%s|", "a b", "$(id)", "", "'", nullptr);
  ASSERT_NE(stream, nullptr);

  EXPECT_EQ(ReadAll(stream), "a b|$(id)||'|");
  EXPECT_EQ(VLIBCPclose(stream), 0);
}

TEST(Popen, Program_IsItsOwnFirstArgument) {
  FILE* const stream = VLIBCPopen("/bin/sh", "r", "-c", "echo $0", nullptr);
  ASSERT_NE(stream, nullptr);

  EXPECT_EQ(ReadAll(stream), "/bin/sh\n");
  EXPECT_EQ(VLIBCPclose(stream), 0);
}

TEST(Popen, WholeVector_NamesTheProgramItself) {
  const char* const argv[] = {"other", "-c", "echo $0 $1", "zero", "one", nullptr};
  FILE* const stream = VLIBCPopenv("/bin/sh", "r", argv);
  ASSERT_NE(stream, nullptr);

  EXPECT_EQ(ReadAll(stream), "zero one\n");
  EXPECT_EQ(VLIBCPclose(stream), 0);
}

TEST(Popen, MissingProgram_IsNullWithItsReasonAndNoChildIsLeft) {
  const TempDir dir;

  EXPECT_EQ(VLIBCPopen(dir.Path("missing").c_str(), "r", nullptr), nullptr);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(HasChild());
}

TEST(Popen, FileThatIsNotExecutable_IsNullWithItsReason) {
  const TempDir dir;

  EXPECT_EQ(VLIBCPopen(dir.Write("file", "#!/bin/sh\n").c_str(), "r", nullptr), nullptr);
  EXPECT_EQ(errno, EACCES);
  EXPECT_EQ(VLIBCPopen(dir.Path("").c_str(), "r", nullptr), nullptr);
  EXPECT_EQ(errno, EACCES);
  EXPECT_FALSE(HasChild());
}

TEST(Popen, ScriptWithoutInterpreter_IsNotGivenToAShell) {
  const TempDir dir;
  const std::string script = dir.Write("script", "echo shell\n");
  ASSERT_EQ(chmod(script.c_str(), 0755), 0);

  EXPECT_EQ(VLIBCPopen(script.c_str(), "r", nullptr), nullptr);
  EXPECT_EQ(errno, ENOEXEC);
}

TEST(Popen, NameWithoutPath_IsNotSearchedFor) {
  EXPECT_EQ(VLIBCPopen("ls", "r", nullptr), nullptr);
  EXPECT_EQ(errno, ENOENT);
}

TEST(Popen, OtherModesAndNoProgram_AreNull) {
  const char* const argv[] = {"true", nullptr};

  EXPECT_EQ(VLIBCPopen("/bin/true", "w", nullptr), nullptr);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(VLIBCPopen("/bin/true", nullptr, nullptr), nullptr);
  EXPECT_EQ(VLIBCPopen(nullptr, "r", nullptr), nullptr);
  EXPECT_EQ(VLIBCPopenv(nullptr, "r", argv), nullptr);
  EXPECT_EQ(VLIBCPopenv("/bin/true", "r", nullptr), nullptr);
}

TEST(Popen, SilentProgram_ReadsAsEmpty) {
  FILE* const stream = VLIBCPopen("/bin/true", "r", nullptr);
  ASSERT_NE(stream, nullptr);

  EXPECT_EQ(ReadAll(stream), "");
  EXPECT_EQ(VLIBCPclose(stream), 0);
}

TEST(Popen, Megabyte_ArrivesWhole) {
  FILE* const stream =
      VLIBCPopen("/bin/sh", "r", "-c", "head -c 1048576 /dev/zero", nullptr);
  ASSERT_NE(stream, nullptr);

  EXPECT_EQ(ReadAll(stream), std::string(1 << 20, '\0'));
  EXPECT_EQ(VLIBCPclose(stream), 0);
}

TEST(Popen, ExitCodeAndSignal_AreInTheWaitStatus) {
  FILE* const failed = VLIBCPopen("/bin/sh", "r", "-c", "exit 3", nullptr);
  ASSERT_NE(failed, nullptr);
  const int exit_status = VLIBCPclose(failed);
  FILE* const killed = VLIBCPopen("/bin/sh", "r", "-c", "kill -9 $$", nullptr);
  ASSERT_NE(killed, nullptr);
  const int signal_status = VLIBCPclose(killed);

  EXPECT_TRUE(WIFEXITED(exit_status));
  EXPECT_EQ(WEXITSTATUS(exit_status), 3);
  EXPECT_TRUE(WIFSIGNALED(signal_status));
  EXPECT_EQ(WTERMSIG(signal_status), SIGKILL);
}

TEST(Popen, Descriptors_AreNotInheritedButTheFirstThree) {
  const int left_open = open("/dev/null", O_RDONLY);
  const int far_up = fcntl(left_open, F_DUPFD, 500);
  FILE* const other = VLIBCPopen("/bin/cat", "r", "/dev/null", nullptr);
  ASSERT_NE(other, nullptr);

  FILE* const stream = VLIBCPopen("/bin/ls", "r", "/proc/self/fd", nullptr);
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(ReadAll(stream), "0\n1\n2\n3\n");  // 3 is the folder that ls reads
  EXPECT_EQ(VLIBCPclose(stream), 0);
  EXPECT_EQ(VLIBCPclose(other), 0);
  close(left_open);
  close(far_up);
}

TEST(Popen, CallerWithoutStandardDescriptors_StillReadsTheProgram) {
  InChild([] {
    const int errors = dup(STDERR_FILENO);
    close(STDIN_FILENO);
    close(STDOUT_FILENO);
    close(STDERR_FILENO);
    FILE* const stream = VLIBCPopen("/bin/sh", "r", "-c", "echo text", nullptr);
    const std::string text = stream == nullptr ? "" : ReadAll(stream);
    const int status = VLIBCPclose(stream);
    dup2(errors, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    EXPECT_EQ(text, "text\n");
    EXPECT_EQ(status, 0);
  });
}

TEST(Popen, SeveralPipes_AreOpenAtOnceAndClosedInAnyOrder) {
  std::vector<FILE*> streams;
  for (int i = 0; i < 20; ++i) {
    streams.push_back(VLIBCPopen("/bin/sh", "r", "-c", "echo $1; exit $1", "sh",
                                 std::to_string(i).c_str(), nullptr));
    ASSERT_NE(streams.back(), nullptr);
  }

  for (const int i : {7, 0, 19, 3, 11}) {
    EXPECT_EQ(ReadAll(streams[i]), std::to_string(i) + "\n");
    EXPECT_EQ(WEXITSTATUS(VLIBCPclose(streams[i])), i);
    streams[i] = nullptr;
  }
  for (FILE* stream : streams) {
    if (stream == nullptr) continue;
    EXPECT_NE(VLIBCPclose(stream), -1);
  }
  EXPECT_FALSE(HasChild());
}

TEST(Popen, ManyThreads_EachGetTheirOwnProgram) {
  std::vector<std::thread> threads;
  threads.reserve(8);
  std::vector<int> wrong(8, 0);
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([t, &wrong] {
      for (int i = 0; i < 20; ++i) {
        FILE* const stream = VLIBCPopen("/bin/sh", "r", "-c", "exit $1", "sh",
                                        std::to_string(t).c_str(), nullptr);
        if (stream == nullptr || WEXITSTATUS(VLIBCPclose(stream)) != t) ++wrong[t];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_THAT(wrong, testing::Each(0));
  EXPECT_FALSE(HasChild());
}

TEST(Popen, BlockedSignalsAndIgnoredSigpipe_AreNotInherited) {
  sigset_t blocked;
  sigset_t before;
  sigfillset(&blocked);
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const auto handler = signal(SIGPIPE, SIG_IGN);

  FILE* const stream = VLIBCPopen("/bin/cat", "r", "/proc/self/status", nullptr);
  ASSERT_NE(stream, nullptr);
  const std::string status = ReadAll(stream);
  VLIBCPclose(stream);
  signal(SIGPIPE, handler);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(SignalSet(status, "SigBlk:"), 0U);
  EXPECT_EQ(SignalSet(status, "SigIgn:") >> (SIGPIPE - 1) & 1, 0U);
}

TEST(Pclose, ProgramThatStillWrites_IsEndedByTheClosedPipe) {
  FILE* const stream = VLIBCPopen("/bin/cat", "r", "/dev/zero", nullptr);
  ASSERT_NE(stream, nullptr);

  const int status = VLIBCPclose(stream);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGPIPE);
}

TEST(Pclose, InterruptedWait_GoesOn) {
  const TempDir dir;
  const std::string fifo = dir.Path("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  to_child = open(fifo.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_NE(to_child, -1);
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = CountAlarm;  // without SA_RESTART
  sigaction(SIGALRM, &action, &before);
  FILE* const stream = VLIBCPopen("/bin/sh", "r", "-c", "read line <\"$1\"; exit 5", "sh",
                                  fifo.c_str(), nullptr);
  ASSERT_NE(stream, nullptr);

  ualarm(100 * 1000, 50 * 1000);
  const int status = VLIBCPclose(stream);
  ualarm(0, 0);
  sigaction(SIGALRM, &before, nullptr);
  close(to_child);
  EXPECT_GE(alarms, 3);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 5);
}

TEST(Pclose, StreamThatIsNotAPipe_IsRefusedAndStaysOpen) {
  FILE* const file = fopen("/dev/null", "r");
  ASSERT_NE(file, nullptr);

  EXPECT_EQ(VLIBCPclose(file), -1);
  EXPECT_EQ(VLIBCPclose(nullptr), -1);
  EXPECT_EQ(fclose(file), 0);
}
