#pragma once

namespace web {

/// From now on SIGTERM and SIGINT make IsStopping true, and end the wait that the process
/// is in, instead of the process.
void CatchStopSignals();

/// Whether SIGTERM or SIGINT has arrived.
bool IsStopping();

}  // namespace web
