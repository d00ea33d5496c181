#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "url.h"
#include "utils.h"

namespace url_tool {

/// What the administrator set for the links of one project, or for all links.
struct Settings {
  std::optional<Address> base;
  std::optional<std::string> prefix;  // escaped, as in Address::path
  std::optional<VEXO::sharing::_tag_SHARING_URL_TYPE> type;
};

struct Configuration {
  Settings general;
  std::map<std::string, Settings> projects;
  int wrong_lines = 0;

  /// The settings for a link: those of its project, and the general ones for the rest.
  Settings SettingsFor(const std::string& project) const;
};

/// Called with a line of text for people.
using Report = std::function<void(const std::string& line)>;

/// Reads the configuration file; a missing file is an empty one.  Wrong lines are
/// reported and ignored.  False, reported too, when the file cannot be read.
bool LoadConfiguration(Configuration& out, const Report& report);

}  // namespace url_tool
