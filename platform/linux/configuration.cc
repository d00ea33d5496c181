#include "configuration.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>

#include <memory>
#include <string>

#include "text.h"

namespace VEXO::platform {
namespace {

const char* const kPath = "/usr/vexo/etc/platform.conf";
constexpr long kLargestNumber = 1000000000;

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};

/// One line of the file, with the memory that getline(3) takes.
class Line {
 public:
  Line() = default;
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  ~Line() { free(text_); }

  bool Read(FILE* file) {
    const ssize_t got = getline(&text_, &size_, file);
    if (got == -1) return false;
    length_ = got;
    return true;
  }
  std::string Text() const { return std::string(text_, length_); }

 private:
  char* text_ = nullptr;
  size_t size_ = 0;
  size_t length_ = 0;
};

bool SetNumber(const std::string& value, long* out) {
  const std::optional<long> number = ParseNumber(value, 1, kLargestNumber);
  if (number) *out = *number;
  return number.has_value();
}

bool SetNetworks(const std::string& value, std::vector<Network>* out) {
  std::vector<Network> networks;
  for (const std::string& item : Split(value, ", \t")) {
    if (item.empty()) continue;  // ", " is two separators
    const std::optional<Network> network = Network::Parse(item);
    if (!network) return false;
    networks.push_back(*network);
  }
  out->swap(networks);
  return true;
}

/// False when the line is neither empty nor a setting.
bool ApplyLine(const std::string& line, Configuration* configuration) {
  const std::string setting = Trim(line.substr(0, line.find('#')));
  if (setting.empty()) return true;
  const size_t equals = setting.find('=');
  if (equals == std::string::npos) return false;
  const std::string key = Trim(setting.substr(0, equals));
  const std::string value = Trim(setting.substr(equals + 1));

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
  return false;
}

Configuration LoadConfiguration() {
  const std::unique_ptr<FILE, CloseFile> file(fopen(kPath, "re"));
  if (file != nullptr) return ReadConfiguration(file.get());
  if (errno != ENOENT && errno != ENOTDIR) syslog(LOG_ERR, "%s: %m", kPath);
  return Configuration();
}

}  // namespace

Configuration ReadConfiguration(FILE* file) {
  Configuration configuration;
  Line line;
  for (int number = 1; line.Read(file); ++number) {
    if (ApplyLine(line.Text(), &configuration)) continue;
    syslog(LOG_ERR, "%s:%d: wrong line, skipped", kPath, number);
  }
  if (ferror(file) != 0) syslog(LOG_ERR, "%s: %m", kPath);
  return configuration;
}

const Configuration& SystemConfiguration() {
  static const Configuration& configuration = *new Configuration(LoadConfiguration());
  return configuration;
}

}  // namespace VEXO::platform
