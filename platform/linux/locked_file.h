#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>

#include "lock_wait.h"
#include "write_lock.h"

namespace VEXO::platform {

/// Makes one SQLite connection hold the write lock of its database whenever it holds one
/// of SQLite's locks for writing or for a checkpoint.  So only one of all connections
/// that have such an object writes or runs a checkpoint at a time, whether in a
/// statement, in an automatic checkpoint, or on closing the last connection.  Readers
/// never take the write lock, not even those that must first rebuild the index of the
/// log.
///
/// It also decides when a checkpoint is worthwhile, and when a writer may restart the
/// log.
///
/// It replaces the lock methods of the open database file, because only SQLite knows
/// every occasion on which it writes.
class LockedFile {
 public:
  /// `wait` outlives this object.
  explicit LockedFile(LockWait& wait) : wait_(wait) {}
  LockedFile(const LockedFile&) = delete;
  LockedFile& operator=(const LockedFile&) = delete;

  /// Attaches this object to `connection`, which has just been opened on a file and must
  /// be closed before this object ends.  Returns an SQLite result code.
  int Install(sqlite3* connection);

  /// Whether the last statement was busy because another connection held the write lock
  /// of a database with a write-ahead log.
  bool found_write_lock_busy() const { return found_write_lock_busy_; }
  /// Why the write lock could not be taken at all; empty when it could.
  const std::string& failure() const { return lock_.failure(); }
  /// Waits after a busy statement.  False on timeout or interruption.
  bool Wait();
  /// Call before each statement, unless it is repeated.  A passive checkpoint may then be
  /// left out when there is nothing to copy.
  void BeginStatement(bool is_passive_checkpoint);
  /// Call after the last statement.
  void EndStatement();

  /// Whether the connection has opened a write-ahead log.
  bool has_log() const { return has_log_; }
  /// Whether every page of the log is in the database file already.  Takes no lock.
  bool IsLogCopied() const;

 private:
  struct Methods : sqlite3_io_methods {
    LockedFile* owner;
  };

  static LockedFile& Of(sqlite3_file* file);
  static int OnLock(sqlite3_file* file, int level);
  static int OnUnlock(sqlite3_file* file, int level);
  static int OnShmLock(sqlite3_file* file, int offset, int n, int flags);
  static int OnShmUnmap(sqlite3_file* file, int remove);
  static int OnBusy(void* file, int calls);
  static int OnCommit(void* file, sqlite3* connection, const char* database, int pages);

  int Take(unsigned holder);
  template <class Lock>
  int TakeBefore(unsigned holder, Lock lock);
  void Drop(unsigned holder);
  bool ShouldPostponeCheckpoint() const;
  bool ShouldContinueLog() const;
  bool LogHasRoom(const uint32_t volatile* index) const;
  const uint32_t volatile* LogIndex() const;

  LockWait& wait_;
  WriteLock lock_;
  unsigned holders_ = 0;  // SQLite's locks for which the write lock is held
  bool found_write_lock_busy_ = false;
  bool reading_ = false;  // whether SQLite has a snapshot to read from
  bool is_passive_checkpoint_ = false;
  bool has_log_ = false;
  int log_pages_ = 0;  // after the last commit of this connection
  sqlite3* connection_ = nullptr;
  const char* path_ = nullptr;    // of the database; belongs to the connection
  sqlite3_file* file_ = nullptr;  // the database
  const sqlite3_io_methods* inner_ = nullptr;
  Methods methods_ = {};
};

}  // namespace VEXO::platform
