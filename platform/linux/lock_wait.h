#pragma once

#include <chrono>
#include <optional>

#include "signal_watch.h"

struct sqlite3;

namespace VEXO::platform {

/// Lets one SQLite connection wait for locks that other processes hold: up to ten
/// seconds, in pauses of random length.  The pauses become shorter during the first
/// milliseconds, so that waiting times stay similar.  (SQLite's own pauses become longer,
/// which can starve a writer for seconds.)
///
/// An operation is made of many calls.  So that it waits ten seconds as a whole, a call
/// within a second of a long wait has only the time that this wait left, and after a wait
/// that failed it has none.  Later calls wait for a quarter of a second until a lock is
/// obtained again.
class LockWait {
 public:
  /// Whether a signal whose handler was installed without SA_RESTART (signal(7)) ends a
  /// wait, as it ends any blocking system call.
  enum class Signals { kEndWait, kIgnored };

  explicit LockWait(Signals signals) : signals_(signals) {}
  LockWait(const LockWait&) = delete;
  LockWait& operator=(const LockWait&) = delete;

  /// Makes `connection` pause through this object, which must outlive it.
  void Install(sqlite3* connection);

  /// Marks the begin and the end of a call.  Signals that arrive while it waits are
  /// handled at its end at the latest.
  void Start();
  void End() { Stop(); }

  /// Sleeps for a moment.  False on timeout or after such a signal.
  bool Pause();

  /// Records that a lock was obtained.
  void Obtained();

  /// Whether a wait failed within the last second.  Statements that follow so closely
  /// belong to the same operation, and fail with it even if the lock is free by now.
  bool JustFailed() const { return failed_ && IsSameOperation(); }

  /// Whether a signal ended a wait since Start.
  bool interrupted() const { return interrupted_; }

 private:
  using Clock = std::chrono::steady_clock;

  bool IsSameOperation() const;
  bool Fail();
  void Stop();

  const Signals signals_;
  Clock::duration left_ = Clock::duration::zero();
  bool failed_ = false;
  bool interrupted_ = false;
  Clock::time_point ended_;  // of the last wait that was long or failed
  std::optional<Clock::time_point> waiting_since_;
  std::optional<SignalWatch> watch_;
};

}  // namespace VEXO::platform
