#include "web/thumbnails/run_helper.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <string_view>
#include <thread>

#include "base/unique_fd.h"
#include "web/deadline.h"
#include "web/thumbnails/helper/picture.h"

namespace web {
namespace {

using VEXO::base::UniqueFd;

constexpr int kNotRun = 127;  // exit code
constexpr std::chrono::milliseconds kPause(1);

/// In a child: becomes the program.  The descriptors are no standard streams.
[[noreturn]] void ExecHelper(const char* program, int picture, int output) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const bool placed = lseek(picture, 0, SEEK_SET) == 0 &&
                      dup2(picture, STDIN_FILENO) != -1 &&
                      dup2(output, STDOUT_FILENO) != -1;
  if (placed && close_range(STDERR_FILENO + 1, UINT_MAX, 0) == 0) {
    char* const arguments[] = {const_cast<char*>(program), nullptr};
    char* const environment[] = {nullptr};
    execve(program, arguments, environment);
  }
  _exit(kNotRun);
}

/// Reads what the program writes, up to its end.  False when it does not end in time, or
/// is too long.
bool ReadOutput(int output, const Deadline& deadline, std::string* text) {
  std::array<char, 16 << 10> piece;
  while (text->size() <= kLongestThumbnail) {
    pollfd readable = {output, POLLIN, 0};
    const int ready = poll(&readable, 1, deadline.MillisecondsLeft());
    if (ready == -1 && errno == EINTR) continue;
    if (ready != 1) return false;
    const ssize_t got = read(output, piece.data(), piece.size());
    if (got <= 0) return got == 0;
    text->append(piece.data(), got);
  }
  return false;
}

/// Waits for the end of the program.  False when it does not end in time.
bool WaitForEnd(pid_t program, const Deadline& deadline, int* status) {
  while (waitpid(program, status, WNOHANG) != program) {
    if (deadline.IsOver()) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

bool IsJpeg(std::string_view text) {
  constexpr std::string_view kBegin = "\xff\xd8\xff";
  constexpr std::string_view kEnd = "\xff\xd9";
  return text.size() > kBegin.size() + kEnd.size() &&
         text.substr(0, kBegin.size()) == kBegin &&
         text.substr(text.size() - kEnd.size()) == kEnd;
}

/// Whether the picture is to blame, rather than the system.
bool IsPermanentFailure(int status) {
  if (WIFSIGNALED(status)) return WTERMSIG(status) != SIGKILL;
  return WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == thumbnail::kNoPicture;
}

}  // namespace

Thumbnail RunHelper(const std::string& program, int picture,
                    std::chrono::milliseconds time) {
  const Deadline deadline(time);
  Thumbnail thumbnail;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) == -1) return thumbnail;
  const UniqueFd output(ends[0]);
  UniqueFd input(ends[1]);
  const pid_t child = fork();
  if (child == 0) ExecHelper(program.c_str(), picture, input.get());
  input.Reset();
  if (child == -1) {
    syslog(LOG_ERR, "cannot start %s: %m", program.c_str());
    return thumbnail;
  }
  int status = 0;
  const bool complete = ReadOutput(output.get(), deadline, &thumbnail.jpeg);
  const bool too_long = thumbnail.jpeg.size() > kLongestThumbnail;
  const bool ended = complete && WaitForEnd(child, deadline, &status);
  if (!ended) {
    kill(child, SIGKILL);
    while (waitpid(child, nullptr, 0) == -1 && errno == EINTR) continue;
  }
  const bool good =
      ended && WIFEXITED(status) && WEXITSTATUS(status) == 0 && IsJpeg(thumbnail.jpeg);
  if (good) {
    thumbnail.state = Thumbnail::State::kMade;
  } else if (too_long || (ended && IsPermanentFailure(status))) {
    thumbnail = {Thumbnail::State::kNone, ""};
  } else {
    syslog(LOG_WARNING, "%s: %s", program.c_str(),
           ended ? "the program failed" : "ended because it took too long");
    thumbnail.jpeg.clear();
  }
  return thumbnail;
}

}  // namespace web
