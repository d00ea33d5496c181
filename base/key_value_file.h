#pragma once

#include <functional>
#include <string>

namespace VEXO::base {

/// Applies one setting.  Returns why it is refused, or an empty text.
using ApplySetting =
    std::function<std::string(const std::string& key, const std::string& value)>;

/// Called for each line that is skipped, with its number (from 1) and the reason.
using ReportLine = std::function<void(int line, const std::string& reason)>;

enum class FileRead {
  kRead,
  kMissing,  ///< there is no such file: not a failure, and there is no reason
  kFailed,   ///< no setting was applied
};

/// Reads the configuration file `path`: lines `key = value`, and comments from `#` to the
/// end of a line.  Key and value are trimmed.  Calls `apply` for each setting in order,
/// and `report` for each line that is neither a setting nor empty or that `apply`
/// refuses.  Anything but a regular file of at most 1 MiB is a failure; a FIFO does not
/// block.  `reason` is set on failure, and empty after a success.
FileRead ReadKeyValueFile(const std::string& path, const ApplySetting& apply,
                          const ReportLine& report, std::string* reason);

}  // namespace VEXO::base
