#pragma once

#include <sys/types.h>

#include <functional>

namespace fakes {

/// Starts a child process that exits with status 0 when `work` returns true.  It runs
/// neither the destructors of global objects nor the leak checker.  Ends the program when
/// the child cannot be started.
pid_t StartChild(const std::function<bool()>& work);
/// Waits for the child.  True when it exited with status 0.
bool EndsWell(pid_t child);

}  // namespace fakes
