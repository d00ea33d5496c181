#pragma once

#include <signal.h>

namespace VEXO::platform {

/// Blocks this thread's signals while it exists, so that none is missed between two calls
/// of Interrupted, which must be frequent.
class SignalWatch {
 public:
  SignalWatch();
  ~SignalWatch();
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;

  /// Whether a signal that interrupts blocking calls is pending: one whose handler was
  /// installed without SA_RESTART (signal(7)).  Its handler runs when this object is
  /// destroyed.  Other pending signals are delivered during the call.
  bool Interrupted() const;

 private:
  sigset_t before_;
};

}  // namespace VEXO::platform
