#pragma once

namespace storm {

/// Number of CPU cores, at least 1.
int Cores();

/// Preempts the processes on one core, each time for about as long as a short commit, so
/// that they are stopped at arbitrary points while processes on other cores go on.  Needs
/// root for its priority; without it the fault appears rarely.
[[noreturn]] void Disturb(int core);

}  // namespace storm
