#include "write_lock.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <set>

#include "base/system_account.h"
#include "system_file.h"

namespace VEXO::platform {

/// Closes the lock files of this process in every forked child.  Otherwise the child
/// would share the open file description and keep the lock after its holder has ended.
class ForkGuard {
 public:
  static ForkGuard& Instance() {
    // Never destroyed: connections may close at exit.
    static auto& guard = *new ForkGuard;
    return guard;
  }

  void Add(WriteLock* lock) {
    const std::lock_guard<std::mutex> guard(mutex_);
    locks_.insert(lock);
  }
  void Remove(WriteLock* lock) {
    const std::lock_guard<std::mutex> guard(mutex_);
    locks_.erase(lock);
  }

 private:
  ForkGuard() { pthread_atfork(Prepare, ContinueParent, ContinueChild); }

  static void Prepare() { Instance().mutex_.lock(); }
  static void ContinueParent() { Instance().mutex_.unlock(); }
  static void ContinueChild() {
    for (WriteLock* const lock : Instance().locks_) {
      lock->file_.Reset();
      lock->held_ = false;
    }
    Instance().mutex_.unlock();
  }

  std::mutex mutex_;
  std::set<WriteLock*> locks_;
};

namespace {

// How often the file is looked up again: somebody may have removed or renamed it.
constexpr std::chrono::milliseconds kLookUpInterval(100);

constexpr int kOpenFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW;

// The bytes of the file that are locked: one by the writer, one by all who wait.
constexpr off_t kWriterByte = 0;
constexpr off_t kWaiterByte = 1;

struct flock ByteLock(off_t byte, short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_start = byte;
  lock.l_len = 1;
  return lock;
}

bool SetLock(int fd, off_t byte, short type) {
  struct flock lock = ByteLock(byte, type);
  return fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

/// What a file beside `database` must have so that all who write to the database can use
/// it.  Root's own databases are those that the system account recovers.
FileAccess AccessFor(const std::string& database) {
  struct stat status;
  if (geteuid() == base::kSystemUid || stat(database.c_str(), &status) == -1 ||
      (geteuid() == 0 && status.st_uid == 0)) {
    return {base::kSystemUid, base::kSystemGid, 0660};
  }
  const mode_t mode = status.st_mode & 0666;
  if (geteuid() != 0) return {geteuid(), getegid(), mode};
  return {status.st_uid, status.st_gid, mode};
}

}  // namespace

WriteLock::WriteLock() { ForkGuard::Instance().Add(this); }

WriteLock::~WriteLock() { ForkGuard::Instance().Remove(this); }

WriteLock::Result WriteLock::Try() {
  failure_.clear();
  const auto now = std::chrono::steady_clock::now();
  if (file_.get() == -1 || now - looked_up_ > kLookUpInterval) {
    if ((file_.get() == -1 || IsReplaced()) && !Open()) return Fail();
    looked_up_ = now;
  }
  return TryAgain();
}

WriteLock::Result WriteLock::TryAgain() {
  held_ = SetLock(file_.get(), kWriterByte, F_WRLCK);
  if (held_) return Result::kTaken;
  return errno == EAGAIN || errno == EACCES ? Result::kBusy : Fail();
}

WriteLock::Result WriteLock::Fail() {
  failure_ = Path() + ": cannot lock: " + strerror(errno);
  syslog(LOG_ERR, "%s", failure_.c_str());
  return Result::kFailed;
}

bool WriteLock::Open() {
  const std::string path = Path();
  int fd = open(path.c_str(), kOpenFlags);
  if (fd == -1 && errno == ENOENT && CreateFileWith(AccessFor(database_), path)) {
    fd = open(path.c_str(), kOpenFlags);
  }
  file_.Reset(fd);
  return fd != -1;
}

bool WriteLock::IsReplaced() const {
  struct stat opened;
  struct stat named;
  if (fstat(file_.get(), &opened) == -1) return false;
  if (stat(Path().c_str(), &named) == -1) return errno == ENOENT;
  return opened.st_dev != named.st_dev || opened.st_ino != named.st_ino;
}

void WriteLock::Release() {
  if (held_) SetLock(file_.get(), kWriterByte, F_UNLCK);
  held_ = false;
}

void WriteLock::SetWaiting(bool waiting) {
  if (file_.get() != -1) SetLock(file_.get(), kWaiterByte, waiting ? F_RDLCK : F_UNLCK);
}

bool WriteLock::HasWaiters() const {
  struct flock lock = ByteLock(kWaiterByte, F_WRLCK);
  return file_.get() != -1 && fcntl(file_.get(), F_OFD_GETLK, &lock) == 0 &&
         lock.l_type != F_UNLCK;
}

}  // namespace VEXO::platform
