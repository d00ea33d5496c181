#include "web/thumbnails/helper/confine.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

using testing::ContainsRegex;
using testing::ExitedWithCode;
using testing::HasSubstr;
using testing::KilledBySignal;
using testing::Not;
using testing::UnorderedElementsAre;
using thumbnail::Confine;

constexpr int kConfined = 23;

/// What the confined process does must end it.
#define EXPECT_FORBIDDEN(action)  \
  EXPECT_EXIT(                    \
      {                           \
        if (!Confine()) _exit(0); \
        action;                   \
        _exit(kConfined);         \
      },                          \
      KilledBySignal(SIGSYS), "")

/// What it does must be true, and it must go on.
#define EXPECT_ALLOWED(condition)                      \
  EXPECT_EXIT(                                         \
      {                                                \
        if (!Confine()) _exit(0);                      \
        _exit((condition) ? kConfined : EXIT_FAILURE); \
      },                                               \
      ExitedWithCode(kConfined), "")

TEST(ConfineDeathTest, Files_CannotBeOpened) {
  EXPECT_FORBIDDEN(open("/etc/passwd", O_RDONLY));
  EXPECT_FORBIDDEN(syscall(SYS_open, "/etc/passwd", O_RDONLY));
  EXPECT_FORBIDDEN(access("/etc/passwd", R_OK));
  EXPECT_FORBIDDEN(unlink("/nonexistent"));
}

TEST(ConfineDeathTest, Network_CannotBeReached) {
  EXPECT_FORBIDDEN(socket(AF_INET, SOCK_STREAM, 0));
  EXPECT_FORBIDDEN(socket(AF_UNIX, SOCK_STREAM, 0));
}

TEST(ConfineDeathTest, Programs_CannotBeStarted) {
  char* const arguments[] = {nullptr};
  EXPECT_FORBIDDEN(execve("/bin/true", arguments, arguments));
  EXPECT_FORBIDDEN(fork());
  EXPECT_FORBIDDEN(kill(getppid(), 0));
}

TEST(ConfineDeathTest, Memory_CannotBeExecutedOrBelongToAFile) {
  EXPECT_FORBIDDEN(
      mmap(nullptr, 4096, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  EXPECT_FORBIDDEN(mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE, STDIN_FILENO, 0));
  static char page[8192];
  EXPECT_FORBIDDEN(mprotect(page, sizeof(page), PROT_EXEC));
}

TEST(ConfineDeathTest, OtherDescriptors_CannotBeUsed) {
  char byte = 0;
  EXPECT_FORBIDDEN(static_cast<void>(read(STDOUT_FILENO, &byte, 1)));
  EXPECT_FORBIDDEN(static_cast<void>(write(STDERR_FILENO, "x", 1)));
}

TEST(ConfineDeathTest, InputOutputAndComputing_GoOn) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(write(ends[1], "xy", 2), 2);
  char bytes[2] = {};
  EXPECT_EXIT(
      {
        dup2(ends[0], STDIN_FILENO);
        dup2(ends[1], STDOUT_FILENO);
        if (!Confine()) _exit(0);
        const bool works = read(STDIN_FILENO, bytes, 2) == 2 && bytes[1] == 'y' &&
                           write(STDOUT_FILENO, bytes, 2) == 2 &&
                           malloc(100 << 20) != nullptr;
        _exit(works ? kConfined : EXIT_FAILURE);
      },
      ExitedWithCode(kConfined), "");
  EXPECT_EQ(read(ends[0], bytes, 2), 2);  // the pipe was not closed on this side
  close(ends[0]);
  close(ends[1]);
}

/// What SystemCallFilter=@system-service of systemd leaves out.
bool ForbidSeccomp() {
  sock_filter filter[] = {
      {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
      {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, SYS_seccomp},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO | EPERM},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
  };
  const sock_fprog program = {4, filter};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(ConfineDeathTest, FilterOfAService_DoesNotKeepItFromWorking) {
  EXPECT_EXIT({ _exit(ForbidSeccomp() && Confine() ? kConfined : EXIT_FAILURE); },
              ExitedWithCode(kConfined), "");
}

TEST(ConfineDeathTest, Memory_IsBounded) { EXPECT_ALLOWED(malloc(300 << 20) == nullptr); }

/// A confined process that waits for input.
class ConfinedProcess {
 public:
  ConfinedProcess() {
    int ends[2];
    if (pipe(ends) == -1) abort();
    process_ = fork();
    if (process_ == 0) {
      char byte = 0;
      dup2(ends[0], STDIN_FILENO);
      if (Confine()) static_cast<void>(read(STDIN_FILENO, &byte, 1));
      _exit(0);
    }
    close(ends[0]);
    input_ = ends[1];
  }
  ConfinedProcess(const ConfinedProcess&) = delete;
  ConfinedProcess& operator=(const ConfinedProcess&) = delete;
  ~ConfinedProcess() {
    close(input_);
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }

  std::string Path(const std::string& file) const {
    return "/proc/" + std::to_string(process_) + "/" + file;
  }
  /// A file of /proc about it.
  std::string Read(const std::string& file) const {
    std::ifstream stream(Path(file));
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  /// False when it is not in time.
  bool WaitUntilConfined() const {
    for (int attempt = 0; attempt < 3000; ++attempt) {
      if (Read("status").find("Seccomp:\t2") != std::string::npos) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }

 private:
  pid_t process_;
  int input_;
};

TEST(Confine, Process_HasNothingThatItDoesNotNeed) {
  const ConfinedProcess process;
  ASSERT_TRUE(process.WaitUntilConfined());

  const std::string limits = process.Read("limits");
  EXPECT_THAT(limits, ContainsRegex("Max cpu time +5 +6 "));
  EXPECT_THAT(limits, ContainsRegex("Max file size +0 +0 "));
  EXPECT_THAT(limits, ContainsRegex("Max core file size +0 +0 "));
  EXPECT_THAT(limits, ContainsRegex("Max processes +0 +0 "));
  EXPECT_THAT(limits, ContainsRegex("Max open files +0 +0 "));
  EXPECT_THAT(limits, ContainsRegex("Max address space +268435456 +268435456 "));
  std::vector<std::string> open_files;
  for (const auto& entry : std::filesystem::directory_iterator(process.Path("fd"))) {
    open_files.push_back(entry.path().filename());
  }
  EXPECT_THAT(open_files, UnorderedElementsAre("0", "1"));
  const std::string status = process.Read("status");
  EXPECT_THAT(status, HasSubstr("NoNewPrivs:\t1"));
  EXPECT_THAT(status, Not(ContainsRegex("[UG]id:.*\t0\t")));
  EXPECT_THAT(status, HasSubstr("CapEff:\t0000000000000000"));
}

}  // namespace
