#include "link_url/configuration.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "base/key_value_file.h"
#include "base_db.h"
#include "keys.h"
#include "result.h"

namespace link_url {

namespace {

using namespace VEXO::sharing;  // the keys

const char kPath[] = "/usr/vexo/etc/sharing-url.conf";

/// Returns why the setting is wrong, or an empty text.
std::string ReadSetting(const std::string& name, const std::string& value,
                        Settings& settings) {
  if (name == "base") return ReadBase(value, settings.base.emplace());
  if (name == "prefix") return ReadPlainPath(value, settings.prefix.emplace());
  if (name != "type") return "unknown setting; the settings are base, prefix and type";
  if (value != "configured" && value != "relayed") {
    return "type must be configured or relayed";
  }
  settings.type =
      value == "relayed" ? SHARING_URL_TYPE_RELAYED : SHARING_URL_TYPE_CONFIGURED;
  return "";
}

/// The same for `key`, which is NAME or NAME.PROJECT; the name of a project may itself
/// have dots.
std::string ApplySetting(const std::string& key, const std::string& value,
                         Configuration& configuration) {
  const size_t dot = key.find('.');
  const bool general = dot == std::string::npos;
  const std::string project = general ? "" : key.substr(dot + 1);
  if (!general && project.empty()) return "missing project name after the dot";
  Settings& settings = general ? configuration.general : configuration.projects[project];
  Settings changed = settings;
  std::string reason = ReadSetting(key.substr(0, dot), value, changed);
  if (reason.empty()) settings = changed;
  return reason;
}

/// Looks up the project of the link with this hash.  `project` stays empty when there is
/// no such link, or no database yet.  Returns the reason of a failure, or an empty text.
std::string FindProject(const std::string& hash, std::string& project) {
  struct stat status = {};
  if (stat(SZF_SHARING_DB_PATH, &status) == -1) {
    return errno == ENOENT ? "" : strerror(errno);
  }
  if (status.st_size == 0) return "";  // another process is creating the database
  // The base class: the database of links would migrate an older file, and a store
  // checkpoints the write-ahead log when it ends.
  db::BaseDB database(SZF_SHARING_DB_PATH, status.st_mode);
  if (!database.IsGood()) return "cannot open the database; see the system log";
  db::Result result;
  if (!database.Execute(std::string("SELECT ") + SZK_PROJECT_NAME +
                            " FROM entry WHERE hash = '" + database.Escape(hash) + "'",
                        result)) {
    return database.GetLastError();
  }
  db::Row row;
  if (result.NextRow(row)) project = row.GetField(SZK_PROJECT_NAME).AsString("");
  return "";
}

}  // namespace

Settings SettingsFor(const Configuration& configuration, const std::string& project) {
  const Settings& general = configuration.general;
  const auto found = configuration.projects.find(project);
  if (found == configuration.projects.end()) return general;
  Settings settings = found->second;
  if (!settings.base) settings.base = general.base;
  if (!settings.prefix) settings.prefix = general.prefix;
  if (!settings.type) settings.type = general.type;
  return settings;
}

std::string LoadConfiguration(Configuration& out, const Report& report) {
  const auto apply = [&out](const std::string& key, const std::string& value) {
    return ApplySetting(key, value, out);
  };
  const auto skip = [&out, &report](int line, const std::string& reason) {
    report(std::string(kPath) + ":" + std::to_string(line) + ": line ignored: " + reason);
    ++out.wrong_lines;
  };
  std::string reason;
  const auto read = VEXO::base::ReadKeyValueFile(kPath, apply, skip, &reason);
  return read == VEXO::base::FileRead::kFailed ? kPath + (": " + reason) : "";
}

std::string FindSettings(const std::string& hash, const Report& report, Settings& out) {
  Configuration configuration;
  std::string reason = LoadConfiguration(configuration, report);
  if (!reason.empty()) return reason;
  std::string project;
  if (!configuration.projects.empty()) reason = FindProject(hash, project);
  if (!reason.empty()) {
    return std::string("cannot look up the project of the link in ") +
           SZF_SHARING_DB_PATH + ": " + reason;
  }
  out = SettingsFor(configuration, project);
  return "";
}

}  // namespace link_url
