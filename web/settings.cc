#include "settings.h"

#include <syslog.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "base/key_value_file.h"
#include "base/number.h"
#include "language.h"

namespace web {
namespace {

/// Returns why the value is refused; an empty text when it is accepted.
std::string SetNumber(const std::string& value, int low, int high, int* out) {
  const std::optional<int> number = VEXO::base::ParseNumber(value, low, high);
  if (!number) {
    return "not a number from " + std::to_string(low) + " to " + std::to_string(high);
  }
  *out = *number;
  return "";
}

std::string SetLanguage(const std::string& value, std::string* out) {
  const std::vector<std::string>& known = Languages();
  if (std::find(known.begin(), known.end(), value) == known.end()) {
    return "not a language of the pages";
  }
  *out = value;
  return "";
}

std::string SetAddressInLog(const std::string& value, AddressInLog* out) {
  const std::pair<const char*, AddressInLog> words[] = {
      {"network", AddressInLog::kNetwork},
      {"full", AddressInLog::kFull},
      {"none", AddressInLog::kNone}};
  for (const auto& [word, meaning] : words) {
    if (value != word) continue;
    *out = meaning;
    return "";
  }
  return "must be network, full or none";
}

/// The same for a number of MiB.
std::string SetMebibytes(const std::string& value, int low, int high,
                         std::uint64_t* out) {
  int number = 0;
  std::string refused = SetNumber(value, low, high, &number);
  if (refused.empty()) *out = static_cast<std::uint64_t>(number) << 20;
  return refused;
}

std::string ApplySetting(const std::string& key, const std::string& value,
                         Settings* settings) {
  if (key == "language") return SetLanguage(value, &settings->language);
  if (key == "workers") return SetNumber(value, 1, 256, &settings->workers);
  if (key == "downloads") return SetNumber(value, 1, 1024, &settings->downloads);
  if (key == "log_address") {
    return SetAddressInLog(value, &settings->address_in_log);
  }
  if (key == "thumbnail_cache") {
    return SetMebibytes(value, 16, 16384, &settings->thumbnail_bytes);
  }
  return "unknown setting";
}

}  // namespace

Settings ReadSettings(const std::string& path) {
  Settings settings;
  std::string failure;
  const VEXO::base::FileRead read = VEXO::base::ReadKeyValueFile(
      path,
      [&settings](const std::string& key, const std::string& value) {
        return ApplySetting(key, value, &settings);
      },
      [&path](int line, const std::string& reason) {
        syslog(LOG_ERR, "%s:%d: line ignored: %s", path.c_str(), line, reason.c_str());
      },
      &failure);
  if (read == VEXO::base::FileRead::kFailed) {
    syslog(LOG_ERR, "%s: %s; the defaults apply", path.c_str(), failure.c_str());
  }
  return settings;
}

}  // namespace web
