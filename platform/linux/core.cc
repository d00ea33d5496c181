#include "vexo/core.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <list>
#include <memory>
#include <mutex>
#include <vector>

#include "base/unique_fd.h"
#include "catch_bad_alloc.h"
#include "private_move.h"

using VEXO::base::UniqueFd;
using VEXO::platform::CatchBadAlloc;

namespace {

const char* const kMove = "/bin/mv";

struct Pipe {
  FILE* stream;
  pid_t pid;
};

std::mutex pipes_mutex;

/// The open pipes.  Never destroyed: a pipe may be closed while the process ends.
std::list<Pipe>& Pipes() {
  static auto& pipes = *new std::list<Pipe>;
  return pipes;
}

struct CloseStream {
  void operator()(FILE* stream) const { fclose(stream); }
};

/// What happens in the child before the program starts.
class SpawnPlan {
 public:
  SpawnPlan() {
    // Neither can fail here: they take no memory.
    posix_spawn_file_actions_init(&actions_);
    posix_spawnattr_init(&attributes_);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;
  ~SpawnPlan() {
    posix_spawnattr_destroy(&attributes_);
    posix_spawn_file_actions_destroy(&actions_);
  }

  /// Starts `program` with its standard output on `output` and no descriptor above 2.
  /// 0, or the reason.
  int Run(const char* program, const char* const argv[], int output, pid_t* pid) {
    // The caller's blocked signals are its own business, and a program that writes to a
    // closed pipe is meant to end.
    sigset_t none;
    sigset_t defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setsigdefault(&attributes_, &defaults);
    posix_spawnattr_setflags(&attributes_,
                             POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    int reason = posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
    if (reason != 0) return reason;
    reason = posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    if (reason != 0) return reason;
    return posix_spawn(pid, program, &actions_, &attributes_,
                       const_cast<char* const*>(argv), environ);
  }

 private:
  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

FILE* StartProgram(const char* program, const char* mode, const char* const argv[]) {
  if (program == nullptr || mode == nullptr || strcmp(mode, "r") != 0 ||
      argv == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  if (strcmp(program, kMove) == 0 && !VEXO::platform::PreparePrivateMove(argv)) {
    return nullptr;
  }
  std::list<Pipe>& pipes = Pipes();
  std::list<Pipe> opened(1);  // memory is taken before the program starts
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) == -1) return nullptr;
  UniqueFd read_end(ends[0]);
  const UniqueFd write_end(ends[1]);
  std::unique_ptr<FILE, CloseStream> stream(fdopen(read_end.get(), "r"));
  if (stream == nullptr) return nullptr;
  read_end.Release();

  const int reason = SpawnPlan().Run(program, argv, write_end.get(), &opened.front().pid);
  if (reason != 0) {
    stream.reset();
    errno = reason;
    return nullptr;
  }
  opened.front().stream = stream.get();
  const std::lock_guard<std::mutex> lock(pipes_mutex);
  pipes.splice(pipes.end(), opened);
  return stream.release();
}

}  // namespace

int VLIBCFileExist(const char* path) {
  struct stat status;
  return path != nullptr && stat(path, &status) == 0 ? 1 : 0;
}

int VLIBCFileTouch(const char* path) {
  if (path == nullptr) {
    errno = EINVAL;
    return -1;
  }
  // No descriptor is opened: closing one would drop the locks that another thread may
  // already hold on the file.  The owner alone gets access until the mode is set.
  if (mknod(path, S_IFREG | S_IRUSR | S_IWUSR, 0) == 0) return 0;
  if (errno != EEXIST) return -1;
  struct stat status;
  return stat(path, &status);  // fails for a dangling symbolic link
}

int VLIBCFileStat(const char* path, int follow, struct stat* out) {
  if (path == nullptr || out == nullptr) {
    errno = EINVAL;
    return -1;
  }
  return follow == 1 ? stat(path, out) : lstat(path, out);
}

int VEXOFSAclChmod(const char* path, int fd, mode_t mode) {
  if (fd != -1) return fchmod(fd, mode);
  if (path == nullptr) {
    errno = EINVAL;
    return -1;
  }
  return chmod(path, mode);
}

FILE* VLIBCPopen(const char* program, const char* mode, ...) {
  va_list arguments;
  va_start(arguments, mode);
  FILE* const stream = CatchBadAlloc<FILE*>(nullptr, [&] {
    std::vector<const char*> argv{program};
    const char* argument;
    do {
      argument = va_arg(arguments, const char*);
      argv.push_back(argument);
    } while (argument != nullptr);
    return StartProgram(program, mode, argv.data());
  });
  va_end(arguments);
  return stream;
}

FILE* VLIBCPopenv(const char* program, const char* mode, const char* const argv[]) {
  return CatchBadAlloc<FILE*>(nullptr, [&] { return StartProgram(program, mode, argv); });
}

int VLIBCPclose(FILE* stream) {
  return CatchBadAlloc(-1, [stream] {
    std::list<Pipe> closed;
    {
      std::list<Pipe>& pipes = Pipes();
      const std::lock_guard<std::mutex> lock(pipes_mutex);
      for (auto pipe = pipes.begin(); pipe != pipes.end(); ++pipe) {
        if (pipe->stream != stream) continue;
        closed.splice(closed.end(), pipes, pipe);
        break;
      }
    }
    if (closed.empty()) {
      errno = EINVAL;
      return -1;
    }

    fclose(stream);
    int status;
    pid_t ended;
    do {
      ended = waitpid(closed.front().pid, &status, 0);
    } while (ended == -1 && errno == EINTR);
    return ended == -1 ? -1 : status;
  });
}
