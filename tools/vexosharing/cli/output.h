#pragma once

#include "cli/exit_code.h"

namespace command {

/// Whether all writes to standard output so far succeeded.
bool FlushOutput();

/// Flushes standard output and returns the final exit code: an error when that fails, and
/// kReaderLeft, without a message, when its reader has closed it ("list | head").
ExitCode CloseOutput(ExitCode exit_code);

}  // namespace command
