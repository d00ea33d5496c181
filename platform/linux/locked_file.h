#pragma once

#include <sqlite3.h>

#include "lock_wait.h"
#include "write_lock.h"

namespace VEXO::platform {

/// Makes one SQLite connection take the write lock of its database before each lock of
/// SQLite's that allows it to write or to run a checkpoint, and keep it for as long.  So
/// of all the connections that have such an object, one at a time writes or runs a
/// checkpoint, whatever the occasion: a statement, a log that has become long, the
/// closing of the last connection.  Readers never take the write lock, not even those
/// that must build the index of the log first.
///
/// It stands between SQLite and the methods of the open database file, because SQLite
/// alone knows all these occasions.
class LockedFile {
 public:
  /// `wait` outlives this object.
  explicit LockedFile(LockWait& wait) : wait_(wait) {}
  LockedFile(const LockedFile&) = delete;
  LockedFile& operator=(const LockedFile&) = delete;

  /// Begins.  `connection` has just been opened on a file, and is closed before this
  /// object ends.  The result is a code of SQLite.
  int Install(sqlite3* connection);

  /// Whether the write lock of another connection is why a statement found the database
  /// busy.
  bool found_write_lock_busy() const { return found_write_lock_busy_; }
  /// Waits after a statement found the database busy.  False when there is no time left.
  bool Wait();
  /// To be called after each statement, when it is not to be repeated.
  void EndStatement();

 private:
  struct Methods : sqlite3_io_methods {
    LockedFile* owner;
  };

  static LockedFile& Of(sqlite3_file* file);
  static int OnLock(sqlite3_file* file, int level);
  static int OnUnlock(sqlite3_file* file, int level);
  static int OnShmLock(sqlite3_file* file, int offset, int n, int flags);
  static int OnBusy(void* file, int calls);
  static int OnCommit(void* file, sqlite3* connection, const char* database, int pages);

  int Take();
  template <class Lock>
  int TakeBefore(unsigned holders, Lock lock);
  void Drop(unsigned holders);
  bool ShouldPostponeCheckpoint() const;

  LockWait& wait_;
  WriteLock lock_;
  unsigned holders_ = 0;  // SQLite's locks for which the write lock is held
  bool found_write_lock_busy_ = false;
  bool reading_ = false;  // whether SQLite has a snapshot to read from
  int log_pages_ = 0;     // after the last commit of this connection
  const sqlite3_io_methods* inner_ = nullptr;
  Methods methods_ = {};
};

}  // namespace VEXO::platform
