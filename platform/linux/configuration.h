#pragma once

#include <string>
#include <vector>

#include "address.h"

namespace VEXO::platform {

/// What the administrator can set in /usr/vexo/etc/platform.conf: lines `key = value`,
/// and comments from `#` to the end of the line.
struct Configuration {
  /// This number of failed logins inside the window blocks an address.
  long block_failures = 10;
  long block_window_seconds = 5L * 60;
  long block_duration_seconds = 60L * 60;
  /// Addresses and CIDR networks, separated by commas or blanks, whose X-Forwarded-For
  /// header is trusted.
  std::vector<Network> trusted_proxies;
};

/// Reads the configuration file `path`.  A wrong line is logged and skipped; of several
/// valid lines with one key the last applies.  A missing file means the defaults, and so
/// does, with a line in the log, one that cannot be read or is not a regular file.
Configuration ReadConfiguration(const std::string& path);

/// The system's configuration, read at the first call.
const Configuration& SystemConfiguration();

}  // namespace VEXO::platform
