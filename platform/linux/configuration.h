#pragma once

#include <stdio.h>

#include <vector>

#include "address.h"

namespace VEXO::platform {

/// What the administrator may set in /usr/vexo/etc/platform.conf: lines `key = value`,
/// and comments behind `#`.
struct Configuration {
  /// So many failed logins inside the window block an address.
  long block_failures = 10;
  long block_window_seconds = 5 * 60;
  long block_duration_seconds = 60 * 60;
  /// Addresses and CIDR networks, separated by commas or blanks, whose X-Forwarded-For
  /// counts.
  std::vector<Network> trusted_proxies;
};

/// The configuration in `file`.  A wrong line is logged and skipped; of two right ones
/// for the same key the last counts.
Configuration ReadConfiguration(FILE* file);

/// The system's configuration, read at the first call: the defaults when there is no
/// file, and, logged, when it cannot be read.
const Configuration& SystemConfiguration();

}  // namespace VEXO::platform
