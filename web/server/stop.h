#pragma once

#include <csignal>

namespace web {

/// SIGTERM and SIGINT.
sigset_t StopSignals();

/// Blocks these signals, or allows them again.
void BlockStopSignals(bool block);

/// From now on SIGTERM and SIGINT make IsStopping true, and end the wait that the process
/// is in, instead of the process.
void CatchStopSignals();

/// Whether SIGTERM or SIGINT has arrived.
bool IsStopping();

/// From now on SIGTERM makes every write to `output` fail, also one that waits, so that
/// the process ends an answer as when the server has closed it.
void FailOutputOnStop(int output);

/// Whether somebody may still receive what is written to `output`, a pipe or a socket:
/// the other end is open, and the process has not been told to stop.
bool HasReceiver(int output);

}  // namespace web
