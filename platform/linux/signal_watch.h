#pragma once

#include <signal.h>

namespace VEXO::platform {

/// Holds back this thread's signals while it lives, so that a signal between two looks is
/// not missed; to be looked at often.
class SignalWatch {
 public:
  SignalWatch();
  ~SignalWatch();
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;

  /// Whether a signal has arrived that ends a blocking call: one whose handler was
  /// installed without SA_RESTART (signal(7)).  Its handler runs when this object ends;
  /// those of others run now.
  bool Interrupted() const;

 private:
  sigset_t before_;
};

}  // namespace VEXO::platform
