#pragma once

#include <chrono>

#include "signal_watch.h"

struct sqlite3;

namespace VEXO::platform {

/// How long one SQLite connection waits for locks that other processes hold: ten seconds
/// from Start, in pauses of random length.  They become shorter during the first moments,
/// so that of many who wait nobody waits much longer than the others.  SQLite's own
/// pauses become longer: one of several writers can then wait for seconds.
///
/// After a wait that ran out, or that a signal ended, there is no patience left until a
/// lock is obtained again.  So an operation of many statements waits once, not once for
/// each of them.
class LockWait {
 public:
  /// Makes `connection` pause through this object, which must outlive it.
  void Install(sqlite3* connection);

  /// A call begins: the ten seconds run from now.
  void Start();

  /// Sleeps for a moment.  False when the time is up, or when a signal arrived whose
  /// handler was installed without SA_RESTART, as for every blocking call (signal(7)).
  bool Pause();

  /// Pauses until `obtain` is true.  False when it is not true in time, or when a signal
  /// arrived as above.
  template <class Obtain>
  bool PauseUntil(Obtain obtain) {
    const SignalWatch signals;
    while (Pause(signals)) {
      if (obtain()) return true;
    }
    return false;
  }

  /// A lock was obtained.
  void Obtained() { gave_up_ = false; }

  /// Whether a wait ended without the lock within the last second.  What follows so
  /// closely belongs to the operation that failed, and fails with it even if the lock is
  /// free by now.
  bool JustGaveUp() const;

  /// Whether a signal ended the wait since Start.
  bool interrupted() const { return interrupted_; }

 private:
  using Clock = std::chrono::steady_clock;

  bool Pause(const SignalWatch& signals);
  bool GiveUp();

  Clock::time_point begin_;
  Clock::time_point gave_up_at_;
  bool gave_up_ = false;
  bool interrupted_ = false;
};

}  // namespace VEXO::platform
