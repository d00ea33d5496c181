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

/// Reads the whole file.  Returns why that failed; an empty text when it did not.
std::string ReadAll(int fd, std::string* content) {
  struct stat status = {};
  if (fstat(fd, &status) == -1) return strerror(errno);
  if (!S_ISREG(status.st_mode)) return "not a regular file";
  char buffer[4096];
  ssize_t got = 0;
  while ((got = TEMP_FAILURE_RETRY(read(fd, buffer, sizeof(buffer)))) > 0) {
    content->append(buffer, got);
    if (content->size() > kLargestSize) return "larger than 1 MiB";
  }
  return got == 0 ? "" : strerror(errno);
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
  *reason = ReadAll(file.get(), &content);
  if (!reason->empty()) return FileRead::kFailed;
  std::istringstream lines(content);
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    const std::string refusal = ApplyLine(line, apply);
    if (!refusal.empty()) report(number, refusal);
  }
  return FileRead::kRead;
}

}  // namespace VEXO::base
