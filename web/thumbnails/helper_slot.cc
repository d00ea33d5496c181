#include "web/thumbnails/helper_slot.h"

#include <fcntl.h>
#include <syslog.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "base/system_account.h"

namespace web {
namespace {

constexpr std::chrono::milliseconds kPause(5);
constexpr mode_t kMode = 0600;

bool LockByte(int file, int number) {
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_start = number;
  lock.l_len = 1;
  return fcntl(file, F_OFD_SETLK, &lock) == 0;
}

}  // namespace

bool HelperSlot::Take(const std::string& path, int count, const Deadline& deadline) {
  {
    const VEXO::base::AsSystemAccount system;
    if (system.good()) {
      file_.Reset(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kMode));
    }
  }
  if (!file_) {
    syslog(LOG_ERR, "%s: %m", path.c_str());
    return false;
  }
  for (;;) {
    for (int number = 0; number < count; ++number) {
      if (LockByte(file_.get(), number)) return true;
    }
    if (deadline.IsOver()) return false;
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace web
