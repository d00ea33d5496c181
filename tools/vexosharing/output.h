#pragma once

#include "outcome.h"

namespace command {

/// Puts something into the place of standard streams that are closed, so that no file
/// opened later takes their numbers; writing there fails.  A reader that goes away shows
/// as a failed write, not as a signal.
void OccupyStandardStreams();

/// Whether what was written to standard output so far got there.
bool FlushOutput();

/// The outcome of the call once its output is out: refused when that failed.
Outcome CloseOutput(Outcome outcome);

}  // namespace command
