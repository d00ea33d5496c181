#pragma once

#include <string>

#include "descriptor.h"

namespace VEXO::platform {

/// The right to write to a database, which one connection has at a time: a lock on a file
/// that is always empty.  It belongs to the open file description (fcntl(2),
/// F_OFD_SETLK), so two connections of one process exclude each other too, and the kernel
/// releases it when the process ends, however it ends.  A process that is forked
/// meanwhile does not have it.
class WriteLock {
 public:
  WriteLock();
  ~WriteLock();
  WriteLock(const WriteLock&) = delete;
  WriteLock& operator=(const WriteLock&) = delete;

  void set_path(const std::string& path) { path_ = path; }

  enum class Answer { kTaken, kBusy, kFailed };
  /// Takes the lock unless another connection has it.  A missing file is created.  A
  /// failure is logged.
  Answer Try();
  /// Whether this object has the lock.
  bool held() const { return held_; }
  /// Releases the lock; allowed without it.
  void Release();

  /// Says whether this connection waits for the lock, so that HasWaiters of the others
  /// sees it.
  void SetWaiting(bool waiting);
  /// Whether another connection waits for the lock.
  bool HasWaiters() const;

 private:
  friend class ForkGuard;

  std::string path_;
  Descriptor file_;  // open from the first Try on
  bool held_ = false;
};

}  // namespace VEXO::platform
