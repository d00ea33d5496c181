#include "base/key_value_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <sstream>

#include "base/text.h"
#include "base/unique_fd.h"

namespace VEXO::base {
namespace {

constexpr size_t kLargestSize = size_t{1} << 20;

bool FailWith(const char* text, std::string* reason) {
  *reason = text;
  return false;
}

/// Reads the whole file.
bool ReadAll(int fd, std::string* content, std::string* reason) {
  struct stat status = {};
  if (fstat(fd, &status) == -1) return FailWith(strerror(errno), reason);
  if (!S_ISREG(status.st_mode)) return FailWith("not a regular file", reason);
  char buffer[4096];
  for (;;) {
    const ssize_t got = read(fd, buffer, sizeof(buffer));
    if (got == 0) return true;
    if (got == -1 && errno == EINTR) continue;
    if (got == -1) return FailWith(strerror(errno), reason);
    content->append(buffer, got);
    if (content->size() > kLargestSize) return FailWith("larger than 1 MiB", reason);
  }
}

/// Returns why the line is refused; an empty text when it is accepted.
std::string ApplyLine(const std::string& line, const ApplySetting& apply) {
  // A C string made of the value would end at the NUL byte.
  if (line.find('\0') != std::string::npos) return "the line contains a NUL byte";
  const std::string setting = Trim(line.substr(0, line.find('#')));
  if (setting.empty()) return "";
  const size_t equals = setting.find('=');
  if (equals == std::string::npos) return "not of the form \"key = value\"";
  return apply(Trim(setting.substr(0, equals)), Trim(setting.substr(equals + 1)));
}

}  // namespace

FileRead ReadKeyValueFile(const std::string& path, const ApplySetting& apply,
                          const ReportLine& report, std::string* reason) {
  // O_NONBLOCK: opening a FIFO would wait for a writer.
  const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file) {
    if (errno == ENOENT || errno == ENOTDIR) return FileRead::kMissing;
    *reason = strerror(errno);
    return FileRead::kFailed;
  }
  std::string content;
  if (!ReadAll(file.get(), &content, reason)) return FileRead::kFailed;

  std::istringstream lines(content);
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    const std::string refusal = ApplyLine(line, apply);
    if (!refusal.empty()) report(number, refusal);
  }
  return FileRead::kRead;
}

}  // namespace VEXO::base
