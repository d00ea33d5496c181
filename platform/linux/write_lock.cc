#include "write_lock.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <mutex>
#include <set>

#include "system_file.h"

namespace VEXO::platform {

/// Closes the files of this process's locks in every process that is forked: both would
/// share the open file description, and the lock would last until the other process ends,
/// even if the one that took it is killed.
class ForkGuard {
 public:
  static ForkGuard& Instance() {
    static auto& guard = *new ForkGuard;  // connections may close while the process ends
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
      lock->file_.Reset(-1);
      lock->held_ = false;
    }
    Instance().mutex_.unlock();
  }

  std::mutex mutex_;
  std::set<WriteLock*> locks_;
};

namespace {

constexpr int kOpenFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW;

// The bytes of the file that are locked: one by the writer, one by all who wait.
constexpr off_t kWriterByte = 0;
constexpr off_t kWaiterByte = 1;

int OpenOrCreate(const std::string& path) {
  const int fd = open(path.c_str(), kOpenFlags);
  if (fd != -1 || errno != ENOENT) return fd;
  if (geteuid() != 0 && geteuid() != kSystemUid) {  // a database of the caller's own
    return open(path.c_str(), kOpenFlags | O_CREAT, S_IRUSR | S_IWUSR);
  }
  return CreateSystemFile(path) ? open(path.c_str(), kOpenFlags) : -1;
}

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

bool IsRemoved(int fd) {
  struct stat status;
  return fstat(fd, &status) == 0 && status.st_nlink == 0;
}

}  // namespace

WriteLock::WriteLock() { ForkGuard::Instance().Add(this); }

WriteLock::~WriteLock() { ForkGuard::Instance().Remove(this); }

WriteLock::Answer WriteLock::Try() {
  while (true) {
    if (file_.get() == -1) file_.Reset(OpenOrCreate(path_));
    if (file_.get() == -1) break;
    if (!SetLock(file_.get(), kWriterByte, F_WRLCK)) {
      if (errno == EAGAIN || errno == EACCES) return Answer::kBusy;
      break;
    }
    if (!IsRemoved(file_.get())) {
      held_ = true;
      return Answer::kTaken;
    }
    file_.Reset(-1);  // the others lock the file that has the name now
  }
  syslog(LOG_ERR, "%s: cannot be locked: %m", path_.c_str());
  return Answer::kFailed;
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
