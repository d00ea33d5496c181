#pragma once

#include "outcome.h"

namespace command {

/// Whether what was written to standard output so far got there.
bool FlushOutput();

/// The outcome of the call once its output is out: refused when that failed.
Outcome CloseOutput(Outcome outcome);

}  // namespace command
