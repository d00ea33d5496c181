#include "configuration.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>

#include "trim.h"

namespace url_tool {

namespace {

const char kPath[] = "/usr/vexo/etc/sharing-url.conf";

bool SetType(const std::string& value, Configuration& configuration,
             std::string& reason) {
  if (value == "configured") {
    configuration.type = VEXO::sharing::SHARING_URL_TYPE_CONFIGURED;
    return true;
  }
  if (value == "relayed") {
    configuration.type = VEXO::sharing::SHARING_URL_TYPE_RELAYED;
    return true;
  }
  reason = "the type is configured or relayed";
  return false;
}

bool SetBase(const std::string& value, Configuration& configuration,
             std::string& reason) {
  Address base;
  if (!ReadBase(value, base, reason)) return false;
  configuration.base = base;
  return true;
}

bool ApplyLine(const std::string& line, Configuration& configuration,
               std::string& reason) {
  if (line.find('\0') != std::string::npos) {
    reason = "it has a NUL byte, at which a part of it would end";
    return false;
  }
  const std::string setting = tools::Trim(line.substr(0, line.find('#')));
  if (setting.empty()) return true;
  const size_t equals = setting.find('=');
  const std::string key = tools::Trim(setting.substr(0, equals));
  const std::string value =
      equals == std::string::npos ? "" : tools::Trim(setting.substr(equals + 1));
  if (equals != std::string::npos && key == "base") {
    return SetBase(value, configuration, reason);
  }
  if (equals != std::string::npos && key == "type") {
    return SetType(value, configuration, reason);
  }
  reason = "a line is \"base = URL\" or \"type = configured|relayed\"";
  return false;
}

bool FailToRead() {
  std::cerr << "vexosharingurl: " << kPath << ": " << strerror(errno) << "\n";
  return false;
}

}  // namespace

bool LoadConfiguration(Configuration& out) {
  std::ifstream file(kPath);
  if (!file.is_open()) return errno == ENOENT || FailToRead();
  Configuration configuration;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    std::string reason;
    if (!ApplyLine(line, configuration, reason)) {
      std::cerr << "vexosharingurl: " << kPath << ":" << number << ": skipped: " << reason
                << "\n";
    }
  }
  if (file.bad()) return FailToRead();
  out = configuration;
  return true;
}

}  // namespace url_tool
