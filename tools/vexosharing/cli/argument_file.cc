#include "cli/argument_file.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <cerrno>

#include "base/unique_fd.h"
#include "cli/interrupt.h"

namespace command {

namespace {

constexpr size_t kLongest = 1048576;  // 1 MiB
constexpr size_t kBufferBytes = 65536;

bool ReadAll(int fd, std::string& content, std::string& reason) {
  ssize_t count = 1;
  while (count > 0 && content.size() <= kLongest) {
    const size_t size = content.size();
    content.resize(size + kBufferBytes);
    count = read(fd, content.data() + size, kBufferBytes);
    if (count == -1) reason = Interrupted() ? "interrupted" : strerror(errno);
    content.resize(size + (count > 0 ? count : 0));
  }
  if (content.size() > kLongest) reason = "larger than 1 MiB";
  return reason.empty();
}

}  // namespace

bool ReadArgumentFile(std::string& value, std::string& reason) {
  if (value.empty() || value[0] != '@') return true;
  const std::string path = value.substr(1);
  const VEXO::base::UniqueFd file(
      path == "-" ? -1 : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  std::string content;
  reason.clear();
  if (path != "-" && file.get() == -1) {
    reason = strerror(errno);
  } else {
    ReadAll(path == "-" ? STDIN_FILENO : file.get(), content, reason);
  }
  if (!reason.empty()) {
    reason = "cannot read " + (path == "-" ? "standard input" : path) + ": " + reason;
    return false;
  }
  value = content;
  return true;
}

}  // namespace command
