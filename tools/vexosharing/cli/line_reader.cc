#include "cli/line_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "cli/interrupt.h"

namespace command {

namespace {

constexpr size_t kBufferBytes = 65536;

}  // namespace

LineReader::LineReader(const std::string& path)
    : file_(path == "-" ? -1 : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)),
      fd_(path == "-" ? STDIN_FILENO : file_.get()) {
  struct stat status = {};
  if (fd_ == -1 || fstat(fd_, &status) == -1) {
    error_ = errno;
  } else if (S_ISDIR(status.st_mode)) {
    error_ = EISDIR;
  }
}

bool LineReader::Next(std::string& line) {
  line.clear();
  too_long_ = false;
  bool begun = false;
  while (!Interrupted() && (at_ < buffer_.size() || Fill())) {
    if (!begun) ++number_;
    begun = true;
    const size_t end = std::min(buffer_.find('\n', at_), buffer_.size());
    if (line.size() + (end - at_) > kLongest) {
      too_long_ = true;
      line.clear();
      line.shrink_to_fit();
    }
    if (!too_long_) line.append(buffer_, at_, end - at_);
    at_ = end + 1;
    if (end < buffer_.size()) return true;
  }
  return begun && good() && !Interrupted();
}

bool LineReader::Fill() {
  buffer_.resize(kBufferBytes);
  ssize_t count = -1;
  do {
    if (!good() || Interrupted()) break;
    count = read(fd_, buffer_.data(), buffer_.size());
  } while (count == -1 && errno == EINTR);
  if (count == -1 && good() && !Interrupted()) error_ = errno;
  buffer_.resize(std::max<ssize_t>(count, 0));
  at_ = 0;
  return count > 0;
}

}  // namespace command
