#pragma once

#include <chrono>

struct sqlite3;

namespace VEXO::platform {

/// How long one SQLite connection waits for the locks of other processes: up to ten
/// seconds from Start, in short pauses of random length.  SQLite's own sleep
/// backs off in equal steps, so that one of several writers can wait for seconds.
class LockWait {
 public:
  /// Makes `connection` pause through this object, which must outlive it.
  void Install(sqlite3* connection);

  /// The ten seconds begin now.
  void Start();

  /// Sleeps for a moment; false when the time is up.
  bool Pause();

 private:
  std::chrono::steady_clock::time_point deadline_;
};

}  // namespace VEXO::platform
