#include "configuration.h"

#include <syslog.h>

#include <optional>

#include "base/key_value_file.h"
#include "base/number.h"
#include "base/text.h"

namespace VEXO::platform {
namespace {

const char* const kPath = "/usr/vexo/etc/platform.conf";
constexpr long kLargestNumber = 1000000000;

/// Returns why the value is refused; an empty text when it is accepted.
std::string SetNumber(const std::string& value, long* out) {
  const std::optional<long> number = base::ParseNumber(value, 1L, kLargestNumber);
  if (!number) return "not a number from 1 to 1000000000";
  *out = *number;
  return "";
}

/// The same for a list of networks.
std::string SetNetworks(const std::string& value, std::vector<Network>* out) {
  std::vector<Network> networks;
  for (const std::string& item : base::Split(value, ", \t")) {
    if (item.empty()) continue;  // ", " is two separators
    const std::optional<Network> network = Network::Parse(item);
    if (!network) return "not a list of addresses and networks";
    if (network->ContainsAllOfIPv4()) {
      return "a network that contains every address would let any visitor claim any "
             "address";
    }
    networks.push_back(*network);
  }
  out->swap(networks);
  return "";
}

std::string ApplySetting(const std::string& key, const std::string& value,
                         Configuration* configuration) {
  if (key == "block_failures") return SetNumber(value, &configuration->block_failures);
  if (key == "block_window_seconds") {
    return SetNumber(value, &configuration->block_window_seconds);
  }
  if (key == "block_duration_seconds") {
    return SetNumber(value, &configuration->block_duration_seconds);
  }
  if (key == "trusted_proxies") {
    return SetNetworks(value, &configuration->trusted_proxies);
  }
  return "unknown setting";
}

}  // namespace

Configuration ReadConfiguration(const std::string& path) {
  Configuration configuration;
  std::string failure;
  const base::FileRead read = base::ReadKeyValueFile(
      path,
      [&configuration](const std::string& key, const std::string& value) {
        return ApplySetting(key, value, &configuration);
      },
      [&path](int line, const std::string& reason) {
        syslog(LOG_ERR, "%s:%d: line skipped: %s", path.c_str(), line, reason.c_str());
      },
      &failure);
  if (read == base::FileRead::kFailed) {
    syslog(LOG_ERR, "%s: %s; the defaults apply", path.c_str(), failure.c_str());
  }
  return configuration;
}

const Configuration& SystemConfiguration() {
  static const Configuration& configuration =
      *new Configuration(ReadConfiguration(kPath));
  return configuration;
}

}  // namespace VEXO::platform
