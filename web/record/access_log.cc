#include "web/record/access_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include "base/access_log.h"
#include "base/system_account.h"
#include "base/unique_fd.h"

namespace web {
namespace {

using VEXO::base::UniqueFd;

const char kStamp[] = "/usr/vexo/etc/private/visit/record-failure";
constexpr off_t kLargestFile = 64 << 20;
constexpr mode_t kFileMode = 0640;
constexpr time_t kPause = 600;  // between two lines in the log

bool IsRecent(time_t then, time_t now) { return then <= now && now - then < kPause; }

/// Whether a failure may be logged now: one in ten minutes, counted over all processes.
/// Notes the time if so.
bool MayLog(const std::string& stamp) {
  static time_t last = 0;  // for when there can be no stamp
  const time_t now = time(nullptr);
  if (last != 0 && IsRecent(last, now)) return false;
  last = now;
  const int flags = O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  if (UniqueFd(open(stamp.c_str(), flags | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR))) {
    return true;
  }
  const UniqueFd file(open(stamp.c_str(), flags));
  struct stat status = {};
  if (!file || fstat(file.get(), &status) == -1) return true;
  if (IsRecent(status.st_mtime, now)) return false;
  futimens(file.get(), nullptr);
  return true;
}

/// Returns why it failed; an empty text when it did not.
std::string TryAppend(const std::string& path, const std::string& line) {
  const UniqueFd file(
      open(path.c_str(),
           O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY,
           kFileMode));
  struct stat status = {};
  if (!file || fstat(file.get(), &status) == -1) return strerror(errno);
  if (!S_ISREG(status.st_mode)) return "not a regular file";
  if (status.st_size >= kLargestFile)
    return "the file has reached 64 MiB; check its rotation";
  // Whatever the umask: the group of the file reads it.
  if (status.st_size == 0) fchmod(file.get(), kFileMode);
  const ssize_t written = write(file.get(), line.data(), line.size());
  if (written == -1) return strerror(errno);
  return written == static_cast<ssize_t>(line.size()) ? "" : strerror(ENOSPC);
}

}  // namespace

AccessLogWriter::AccessLogWriter()
    : AccessLogWriter(
          std::string(VEXO::base::kAccessLogFolder) + "/" + VEXO::base::kAccessLogName,
          kStamp) {}

AccessLogWriter::AccessLogWriter(std::string path, std::string stamp)
    : path_(std::move(path)), stamp_(std::move(stamp)) {}

void AccessLogWriter::Append(const std::string& line) const {
  const VEXO::base::AsSystemAccount system;  // the file is the account's
  const std::string failure =
      system.good() ? TryAppend(path_, line) : std::string(strerror(errno));
  if (failure.empty() || !MayLog(stamp_)) return;
  syslog(LOG_ERR, "%s: visits are not logged: %s", path_.c_str(), failure.c_str());
}

void RecordAnswer(const LoggedVisit& visit, int status, std::uint64_t bytes) {
  if (visit.event == nullptr) return;
  AccessLogWriter().Append(FormatRecord(visit, time(nullptr), status, bytes));
}

}  // namespace web
