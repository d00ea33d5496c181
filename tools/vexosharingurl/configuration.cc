#include "configuration.h"

#include "base/key_value_file.h"

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

/// `key` is NAME or NAME.PROJECT; the name of a project may itself have dots.  Returns
/// why the setting is wrong, or an empty text.
std::string ApplySetting(const std::string& key, const std::string& value,
                         Configuration& configuration) {
  const size_t dot = key.find('.');
  const bool general = dot == std::string::npos;
  const std::string project = general ? "" : key.substr(dot + 1);
  if (!general && project.empty()) return "missing project name after the dot";
  Settings& settings = general ? configuration.general : configuration.projects[project];
  Settings changed = settings;
  std::string reason;
  if (!ReadSetting(key.substr(0, dot), value, changed, reason)) return reason;
  settings = changed;
  return "";
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

bool LoadConfiguration(Configuration& out, const Report& report) {
  Configuration configuration;
  const auto apply = [&configuration](const std::string& key, const std::string& value) {
    return ApplySetting(key, value, configuration);
  };
  const auto skip = [&configuration, &report](int line, const std::string& reason) {
    report(std::string(kPath) + ":" + std::to_string(line) + ": line ignored: " + reason);
    ++configuration.wrong_lines;
  };
  std::string reason;
  if (VEXO::base::ReadKeyValueFile(kPath, apply, skip, &reason) ==
      VEXO::base::FileRead::kFailed) {
    report(std::string(kPath) + ": " + reason);
    return false;
  }
  out = configuration;
  return true;
}

}  // namespace url_tool
