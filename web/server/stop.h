#pragma once

namespace web {

/// From now on SIGTERM and SIGINT make IsStopping true, and end the wait that the process
/// is in, instead of the process.
void CatchStopSignals();

/// Whether SIGTERM or SIGINT has arrived.
bool IsStopping();

/// From now on SIGTERM makes every write to `output` fail, also one that waits, so that
/// the process ends an answer as when the server has closed it.
void FailOutputOnStop(int output);

}  // namespace web
