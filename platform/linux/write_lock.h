#pragma once

#include <chrono>
#include <string>

#include "base/unique_fd.h"

namespace VEXO::platform {

/// The write lock of a database: a lock on an empty file, which one connection holds at a
/// time.  It belongs to the open file description (fcntl(2), F_OFD_SETLK), so two
/// connections of one process exclude each other too, and the kernel releases it when the
/// process ends or is killed.  A forked child does not inherit it.
class WriteLock {
 public:
  WriteLock();
  ~WriteLock();
  WriteLock(const WriteLock&) = delete;
  WriteLock& operator=(const WriteLock&) = delete;

  /// `database` is the path of the database, whose owner and mode the lock file gets.
  void set_database(const std::string& database) { database_ = database; }

  enum class Result { kTaken, kBusy, kFailed };
  /// Tries to take the lock without waiting.  Creates a missing file.  Logs a failure.
  Result Try();
  /// The same just after Try was busy: the file is not looked up again.
  Result TryAgain();
  bool held() const { return held_; }
  /// Releases the lock if it is held.
  void Release();

  /// Why the last Try failed; empty when it did not.
  const std::string& failure() const { return failure_; }

  /// While it exists, this connection is marked as waiting for the lock.
  class Waiting {
   public:
    explicit Waiting(WriteLock& lock) : lock_(lock) { lock_.SetWaiting(true); }
    ~Waiting() { lock_.SetWaiting(false); }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

   private:
    WriteLock& lock_;
  };
  /// Whether another connection is marked as waiting.
  bool HasWaiters() const;

 private:
  friend class ForkGuard;

  void SetWaiting(bool waiting);
  bool Open();
  Result Fail();
  bool IsReplaced() const;
  std::string Path() const { return database_ + "-lock"; }

  std::string database_;
  std::string failure_;
  base::UniqueFd file_;  // open from the first Try on
  std::chrono::steady_clock::time_point looked_up_;
  bool held_ = false;
};

}  // namespace VEXO::platform
