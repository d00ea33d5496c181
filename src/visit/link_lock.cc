#include "visit/link_lock.h"

#include <fcntl.h>
#include <syslog.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <thread>

#include "base/system_account.h"
#include "visit/digest.h"
#include "visit/shared_file.h"

namespace VEXO::sharing {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPause(2);
constexpr int kOffsetDigits = 15;  // fits into off_t

base::UniqueFd OpenFile(const std::string& folder, const std::string& path) {
  if (!EnsureSharedFile(folder, path)) return base::UniqueFd();
  const base::AsSystemAccount system;
  return base::UniqueFd(system.good() ? open(path.c_str(), O_RDWR | O_CLOEXEC) : -1);
}

}  // namespace

bool LinkLock::Take(const std::string& folder, const std::string& hash,
                    std::chrono::milliseconds timeout) {
  const std::optional<std::string> digest = Digest(hash);
  if (!digest) return false;
  const std::string path = folder + "/visit.lock";
  file_ = OpenFile(folder, path);
  if (!file_) {
    syslog(LOG_ERR, "%s: %m", path.c_str());
    return false;
  }
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_start = strtol(digest->substr(0, kOffsetDigits).c_str(), nullptr, 16);
  lock.l_len = 1;
  const Clock::time_point end = Clock::now() + timeout;
  while (fcntl(file_.get(), F_OFD_SETLK, &lock) == -1) {
    const bool busy = errno == EAGAIN || errno == EACCES || errno == EINTR;
    if (!busy || Clock::now() >= end) {
      syslog(LOG_ERR, "%s: cannot lock a link: %m", path.c_str());
      return false;
    }
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

}  // namespace VEXO::sharing
