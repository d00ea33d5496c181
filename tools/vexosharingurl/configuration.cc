#include "configuration.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "trim.h"

namespace url_tool {

namespace {

const char kPath[] = "/usr/vexo/etc/sharing-url.conf";

bool ReadType(const std::string& value, Settings& settings, std::string& reason) {
  if (value == "configured") {
    settings.type = VEXO::sharing::SHARING_URL_TYPE_CONFIGURED;
  } else if (value == "relayed") {
    settings.type = VEXO::sharing::SHARING_URL_TYPE_RELAYED;
  } else {
    reason = "type must be configured or relayed";
    return false;
  }
  return true;
}

bool ReadSetting(const std::string& name, const std::string& value, Settings& settings,
                 std::string& reason) {
  if (name == "base") return ReadBase(value, settings.base.emplace(), reason);
  if (name == "prefix") return ReadPlainPath(value, settings.prefix.emplace(), reason);
  if (name == "type") return ReadType(value, settings, reason);
  reason = "unknown setting; the settings are base, prefix and type";
  return false;
}

/// `key` is NAME or NAME.PROJECT; the name of a project may itself have dots.
bool ApplySetting(const std::string& key, const std::string& value,
                  Configuration& configuration, std::string& reason) {
  const size_t dot = key.find('.');
  const bool general = dot == std::string::npos;
  const std::string project = general ? "" : key.substr(dot + 1);
  if (!general && project.empty()) {
    reason = "missing project name after the dot";
    return false;
  }
  Settings& settings = general ? configuration.general : configuration.projects[project];
  Settings changed = settings;
  if (!ReadSetting(key.substr(0, dot), value, changed, reason)) return false;
  settings = changed;
  return true;
}

bool ApplyLine(const std::string& line, Configuration& configuration,
               std::string& reason) {
  if (line.find('\0') != std::string::npos) {
    reason = "the line contains a NUL byte";
    return false;
  }
  const std::string setting = tools::Trim(line.substr(0, line.find('#')));
  if (setting.empty()) return true;
  const size_t equals = setting.find('=');
  if (equals == std::string::npos) {
    reason = "missing =";
    return false;
  }
  return ApplySetting(tools::Trim(setting.substr(0, equals)),
                      tools::Trim(setting.substr(equals + 1)), configuration, reason);
}

bool FailToRead() {
  std::cerr << "vexosharingurl: " << kPath << ": " << strerror(errno) << "\n";
  return false;
}

}  // namespace

Settings Configuration::SettingsFor(const std::string& project) const {
  const auto found = projects.find(project);
  if (found == projects.end()) return general;
  Settings settings = found->second;
  if (!settings.base) settings.base = general.base;
  if (!settings.prefix) settings.prefix = general.prefix;
  if (!settings.type) settings.type = general.type;
  return settings;
}

bool LoadConfiguration(Configuration& out) {
  std::ifstream file(kPath);
  if (!file.is_open()) return errno == ENOENT || FailToRead();
  Configuration configuration;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    std::string reason;
    if (!ApplyLine(line, configuration, reason)) {
      std::cerr << "vexosharingurl: " << kPath << ":" << number
                << ": line ignored: " << reason << "\n";
      ++configuration.wrong_lines;
    }
  }
  if (file.bad()) return FailToRead();
  out = configuration;
  return true;
}

}  // namespace url_tool
