#pragma once

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

/// Reads the configuration file; a missing file is an empty one.  Wrong lines are
/// reported on standard error and ignored.  False, reported there too, when the file
/// cannot be read.
bool LoadConfiguration(Configuration& out);

}  // namespace url_tool
