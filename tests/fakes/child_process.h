#pragma once

#include <sys/types.h>

#include <functional>

namespace fakes {

/// Starts a child process that ends with status 0 when `work` answers true, without
/// running destructors of globals or the leak checker.  Ends the program when there can
/// be no child.
pid_t StartChild(const std::function<bool()>& work);
/// Waits for the child: whether it ended with status 0.
bool EndsWell(pid_t child);

}  // namespace fakes
