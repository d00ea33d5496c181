#include "locked_file.h"

#include <string>

namespace VEXO::platform {
namespace {

// Locks on the index of a write-ahead log, by their number
// (https://www.sqlite.org/walformat.html, 2.3.1).
constexpr int kWriterLock = 0;
constexpr int kCheckpointLock = 1;
constexpr int kFirstReadMark = 3;

// Bits of LockedFile::holders_.  With the last one SQLite writes without a write-ahead
// log.
constexpr unsigned kWriter = 1U << 0;
constexpr unsigned kCheckpoint = 1U << 1;
constexpr unsigned kFile = 1U << 2;

constexpr int kLongLogPages = 1000;  // as SQLite's own default for automatic checkpoints

}  // namespace

int LockedFile::Install(sqlite3* connection) {
  sqlite3_file* file = nullptr;
  const int code =
      sqlite3_file_control(connection, "main", SQLITE_FCNTL_FILE_POINTER, &file);
  if (code != SQLITE_OK) return code;
  lock_.set_path(std::string(sqlite3_db_filename(connection, "main")) + "-lock");
  inner_ = file->pMethods;
  static_cast<sqlite3_io_methods&>(methods_) = *inner_;
  methods_.owner = this;
  methods_.xLock = OnLock;
  methods_.xUnlock = OnUnlock;
  methods_.xShmLock = OnShmLock;
  file->pMethods = &methods_;
  sqlite3_wal_hook(connection, OnCommit, this);
  return sqlite3_busy_handler(connection, OnBusy, this);
}

LockedFile& LockedFile::Of(sqlite3_file* file) {
  return *static_cast<const Methods*>(file->pMethods)->owner;
}

int LockedFile::OnLock(sqlite3_file* file, int level) {
  LockedFile& self = Of(file);
  const auto lock = [&] { return self.inner_->xLock(file, level); };
  if (level >= SQLITE_LOCK_RESERVED) return self.TakeBefore(kFile, lock);
  const int code = lock();
  if (code == SQLITE_OK) self.wait_.Obtained();
  return code;
}

int LockedFile::OnUnlock(sqlite3_file* file, int level) {
  LockedFile& self = Of(file);
  const int code = self.inner_->xUnlock(file, level);
  if (level < SQLITE_LOCK_RESERVED) self.Drop(kFile);
  return code;
}

int LockedFile::OnShmLock(sqlite3_file* file, int offset, int n, int flags) {
  LockedFile& self = Of(file);
  const auto lock = [&] { return self.inner_->xShmLock(file, offset, n, flags); };
  const bool exclusive = (flags & SQLITE_SHM_EXCLUSIVE) != 0;
  if ((flags & SQLITE_SHM_LOCK) != 0) {
    // Whoever takes the writer's lock without a snapshot builds the index of the log, and
    // then takes all the other locks at once.
    if (exclusive && offset == kWriterLock && self.reading_) {
      return self.TakeBefore(kWriter, lock);
    }
    if (exclusive && offset == kCheckpointLock && n == 1) {
      return self.ShouldPostponeCheckpoint() ? SQLITE_BUSY
                                             : self.TakeBefore(kCheckpoint, lock);
    }
    const int code = lock();
    if (!exclusive && offset >= kFirstReadMark) self.reading_ = code == SQLITE_OK;
    return code;
  }
  const int code = lock();
  if (exclusive && offset == kWriterLock) self.Drop(kWriter);
  if (exclusive && offset == kCheckpointLock) self.Drop(kCheckpoint);
  if (!exclusive && offset >= kFirstReadMark) self.reading_ = false;
  return code;
}

int LockedFile::OnBusy(void* file, int /*calls*/) {
  return static_cast<LockedFile*>(file)->Wait() ? 1 : 0;
}

/// Checkpoints that the end of a store leaves to others run here at the latest.
int LockedFile::OnCommit(void* file, sqlite3* connection, const char* database,
                         int pages) {
  static_cast<LockedFile*>(file)->log_pages_ = pages;
  if (pages >= kLongLogPages) sqlite3_wal_checkpoint(connection, database);
  return SQLITE_OK;
}

/// A checkpoint waits for the disk.  While others wait to write, one of them can run it,
/// and take along what they all wrote.
bool LockedFile::ShouldPostponeCheckpoint() const {
  return !lock_.held() && log_pages_ < kLongLogPages && lock_.HasWaiters();
}

int LockedFile::Take() {
  if (lock_.held()) return SQLITE_OK;
  if (wait_.JustGaveUp()) return SQLITE_BUSY;
  switch (lock_.Try()) {
    case WriteLock::Answer::kTaken:
      return SQLITE_OK;
    case WriteLock::Answer::kFailed:
      return SQLITE_IOERR_LOCK;
    case WriteLock::Answer::kBusy:
      break;
  }
  found_write_lock_busy_ = true;
  return SQLITE_BUSY;
}

template <class Lock>
int LockedFile::TakeBefore(unsigned holders, Lock lock) {
  int code = Take();
  if (code != SQLITE_OK) return code;
  code = lock();
  if (code == SQLITE_OK) {
    holders_ |= holders;
    wait_.Obtained();
  } else if (holders_ == 0) {
    lock_.Release();
  }
  return code;
}

void LockedFile::Drop(unsigned holders) {
  if ((holders_ & holders) == 0) return;
  holders_ &= ~holders;
  if (holders_ == 0) lock_.Release();
}

bool LockedFile::Wait() {
  if (!found_write_lock_busy_) return wait_.Pause();
  // It is taken here, and not by the statement when it is repeated: the statement looks
  // at the database first, and finds it changed if another one writes in between.
  found_write_lock_busy_ = false;
  lock_.SetWaiting(true);
  const bool again =
      wait_.PauseUntil([this] { return lock_.Try() != WriteLock::Answer::kBusy; });
  lock_.SetWaiting(false);
  return again;  // after a failure too, which the statement then reports
}

void LockedFile::EndStatement() {
  found_write_lock_busy_ = false;
  if (holders_ == 0) lock_.Release();
}

}  // namespace VEXO::platform
