#include "locked_file.h"

#include <sched.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

namespace VEXO::platform {
namespace {

// Locks on the index of a write-ahead log, by their number
// (https://www.sqlite.org/walformat.html, 2.3.1).
constexpr int kWriterLock = 0;
constexpr int kCheckpointLock = 1;
constexpr int kFirstReadMark = 3;
constexpr int kReadMarks = SQLITE_SHM_NLOCK - kFirstReadMark;

// The index itself: size of its first part, and where it holds the number of the last
// frame in the log and of those copied, in words of four bytes (ibid., 2.1).
constexpr int kIndexRegionSize = 32768;
constexpr int kPageSizeHalfWord = 14 / 2;
constexpr int kLastFrameWord = 16 / 4;
constexpr int kCopiedFramesWord = 96 / 4;

// Bits of LockedFile::holders_: SQLite's lock for which the write lock is held.  kFile is
// the lock on the database file, used without a write-ahead log.
constexpr unsigned kWriter = 1U << 0;
constexpr unsigned kCheckpoint = 1U << 1;
constexpr unsigned kFile = 1U << 2;

/// Whether this SQLite takes the writer's lock of a transaction before its snapshot.
bool WritersLockFirst() {
  static const bool first = sqlite3_compileoption_used("ENABLE_SETLK_TIMEOUT") != 0;
  return first;
}

// The write lock is mostly held for some microseconds: worth so many tries without sleep.
constexpr int kTriesWithoutSleep = 60;

constexpr int kLongLogPages = 1000;  // as SQLite's own default for automatic checkpoints

// The log is not restarted before it has this many pages, because a restart costs one
// more flush to the disk.  The longer the log, the longer a checkpoint takes to sort its
// pages.
constexpr uint32_t kContinuedLogPages = 128;
// If its file has not even room for so many pages, and the disk has less free space, it
// is restarted at every write, so that it does not have to grow.
constexpr int64_t kRoomPages = 32;
constexpr uint64_t kFreeBytes = 1U << 20;

constexpr int kFrameHeaderSize = 24;

bool HasFreeSpace(const char* path) {
  struct statvfs status;
  return statvfs(path, &status) == 0 &&
         uint64_t{status.f_bavail} * status.f_frsize >= kFreeBytes;
}

}  // namespace

int LockedFile::Install(sqlite3* connection) {
  const int code =
      sqlite3_file_control(connection, "main", SQLITE_FCNTL_FILE_POINTER, &file_);
  if (code != SQLITE_OK) return code;
  path_ = sqlite3_db_filename(connection, "main");
  connection_ = connection;
  lock_.set_database(path_);
  inner_ = file_->pMethods;
  static_cast<sqlite3_io_methods&>(methods_) = *inner_;
  methods_.iVersion = std::min(inner_->iVersion, 3);  // what the structure holds here
  methods_.owner = this;
  methods_.xLock = OnLock;
  methods_.xUnlock = OnUnlock;
  methods_.xShmLock = OnShmLock;
  methods_.xShmUnmap = OnShmUnmap;
  file_->pMethods = &methods_;
  sqlite3_wal_hook(connection, OnCommit, this);
  return sqlite3_busy_handler(connection, OnBusy, this);
}

LockedFile& LockedFile::Of(sqlite3_file* file) {
  return *static_cast<const Methods*>(file->pMethods)->owner;
}

int LockedFile::OnLock(sqlite3_file* file, int level) {
  LockedFile& self = Of(file);
  const auto inner = [&] { return self.inner_->xLock(file, level); };
  return level < SQLITE_LOCK_RESERVED ? inner() : self.TakeBefore(kFile, inner);
}

int LockedFile::OnUnlock(sqlite3_file* file, int level) {
  LockedFile& self = Of(file);
  const int code = self.inner_->xUnlock(file, level);
  if (level < SQLITE_LOCK_RESERVED) self.Drop(kFile);
  return code;
}

int LockedFile::OnShmLock(sqlite3_file* file, int offset, int n, int flags) {
  LockedFile& self = Of(file);
  self.has_log_ = true;
  const auto inner = [&] { return self.inner_->xShmLock(file, offset, n, flags); };
  const bool locks = (flags & SQLITE_SHM_LOCK) != 0;
  if ((flags & SQLITE_SHM_SHARED) != 0) {
    const int code = inner();
    if (offset >= kFirstReadMark) self.reading_ = locks && code == SQLITE_OK;
    return code;
  }
  // Whoever takes the writer's lock without a snapshot is rebuilding the index of the
  // log, as readers do too, and then takes the checkpoint lock together with the next.
  const bool writer =
      offset == kWriterLock && (self.reading_ || !locks || WritersLockFirst());
  const bool checkpoint = offset == kCheckpointLock && n == 1;
  const unsigned holder = writer ? kWriter : checkpoint ? kCheckpoint : 0;
  if (!locks) {
    const int code = inner();
    self.Drop(holder);
    return code;
  }
  // Whoever restarts the log takes all read marks but the first together.
  const bool restart = offset == kFirstReadMark + 1 && n == kReadMarks - 1;
  if (restart && self.holders_ == kWriter && self.ShouldContinueLog()) {
    return SQLITE_BUSY;  // as if another connection were reading the log
  }
  if (holder == 0) return inner();
  if (checkpoint && (self.ShouldPostponeCheckpoint() ||
                     (self.is_passive_checkpoint_ && self.IsLogCopied()))) {
    return SQLITE_BUSY;
  }
  return self.TakeBefore(holder, inner);
}

int LockedFile::OnShmUnmap(sqlite3_file* file, int remove) {
  LockedFile& self = Of(file);
  self.has_log_ = false;
  return self.inner_->xShmUnmap(file, remove);
}

int LockedFile::OnBusy(void* file, int /*calls*/) {
  return static_cast<LockedFile*>(file)->Wait() ? 1 : 0;
}

// Runs the checkpoints that were postponed, once the log has become long.
int LockedFile::OnCommit(void* file, sqlite3* connection, const char* database,
                         int pages) {
  if (strcmp(database, "main") != 0) return SQLITE_OK;
  static_cast<LockedFile*>(file)->log_pages_ = pages;
  if (pages >= kLongLogPages) sqlite3_wal_checkpoint(connection, database);
  return SQLITE_OK;
}

// A checkpoint waits for the disk.  While others wait to write, it is cheaper to let one
// of them run it for all their commits.
bool LockedFile::ShouldPostponeCheckpoint() const {
  return !lock_.held() && log_pages_ < kLongLogPages && lock_.HasWaiters();
}

// Unless somebody reads the log, SQLite restarts it at the first write after a
// checkpoint.
bool LockedFile::ShouldContinueLog() const {
  const auto* const index = LogIndex();
  return index != nullptr && index[kLastFrameWord] < kContinuedLogPages &&
         (LogHasRoom(index) || HasFreeSpace(path_));
}

// A restart does not shorten the file of the log.
bool LockedFile::LogHasRoom(const uint32_t volatile* index) const {
  sqlite3_file* log = nullptr;
  sqlite3_int64 size = 0;
  if (sqlite3_file_control(connection_, "main", SQLITE_FCNTL_JOURNAL_POINTER, &log) !=
          SQLITE_OK ||
      log->pMethods == nullptr || log->pMethods->xFileSize(log, &size) != SQLITE_OK) {
    return false;
  }
  const auto* const half_words = reinterpret_cast<const uint16_t volatile*>(index);
  const int stored = half_words[kPageSizeHalfWord];
  const int page_size = stored == 1 ? 65536 : stored;
  return size >= (index[kLastFrameWord] + kRoomPages) * (page_size + kFrameHeaderSize);
}

// True for most checkpoints, since every store runs one.  If they took the locks to find
// out, they would only keep writers waiting.
bool LockedFile::IsLogCopied() const {
  const auto* const index = LogIndex();
  return index != nullptr && index[kLastFrameWord] == index[kCopiedFramesWord];
}

const uint32_t volatile* LockedFile::LogIndex() const {
  void volatile* index = nullptr;
  const int code = inner_->xShmMap(file_, 0, kIndexRegionSize, 0, &index);
  return code == SQLITE_OK ? static_cast<uint32_t volatile*>(index) : nullptr;
}

int LockedFile::Take(unsigned holder) {
  if (lock_.held()) return SQLITE_OK;
  if (wait_.JustFailed()) return SQLITE_BUSY;
  switch (lock_.Try()) {
    case WriteLock::Result::kTaken:
      return SQLITE_OK;
    case WriteLock::Result::kFailed:
      return SQLITE_IOERR_LOCK;
    case WriteLock::Result::kBusy:
      break;
  }
  found_write_lock_busy_ = holder == kWriter;
  return SQLITE_BUSY;
}

template <class Lock>
int LockedFile::TakeBefore(unsigned holder, Lock lock) {
  int code = Take(holder);
  if (code != SQLITE_OK) return code;
  code = lock();
  if (code == SQLITE_OK) {
    holders_ |= holder;
    wait_.Obtained();
  } else if (holders_ == 0) {
    lock_.Release();
  }
  return code;
}

void LockedFile::Drop(unsigned holder) {
  if ((holders_ & holder) == 0) return;
  holders_ &= ~holder;
  if (holders_ == 0) lock_.Release();
}

bool LockedFile::Wait() {
  if (!found_write_lock_busy_) return wait_.Pause();
  // The lock is taken here, before the statement is repeated: the statement reads first,
  // and would be busy again if another connection wrote between its read and its write.
  found_write_lock_busy_ = false;
  for (int i = 0; i < kTriesWithoutSleep; ++i) {
    sched_yield();
    if (lock_.TryAgain() != WriteLock::Result::kBusy) return true;
  }
  const WriteLock::Waiting waiting(lock_);
  while (wait_.Pause()) {
    // A failure is reported by the statement when it is repeated.
    if (lock_.Try() != WriteLock::Result::kBusy) return true;
  }
  return false;
}

void LockedFile::BeginStatement(bool is_passive_checkpoint) {
  EndStatement();
  is_passive_checkpoint_ = is_passive_checkpoint;
}

void LockedFile::EndStatement() {
  found_write_lock_busy_ = false;
  if (holders_ == 0) lock_.Release();
}

}  // namespace VEXO::platform
