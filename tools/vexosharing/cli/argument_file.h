#pragma once

#include <string>

namespace command {

/// Replaces the value "@FILE" by the content of the file, and "@-" by standard input up
/// to its end; any other value stays.  At most 1 MiB is read.  False, with `reason`, when
/// it cannot be read or is larger.
bool ReadArgumentFile(std::string& value, std::string& reason);

}  // namespace command
