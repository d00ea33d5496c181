#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "link_url/url.h"
#include "utils.h"

namespace link_url {

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
};

/// Called with a line of text for people.
using Report = std::function<void(const std::string& line)>;

/// Adds the settings of the configuration file; a missing file is an empty one.  Wrong
/// lines are reported and ignored.  Returns why the file cannot be read, or an empty
/// text.
std::string LoadConfiguration(Configuration& out, const Report& report);

/// The settings of one project, and the general ones for the rest.
Settings SettingsFor(const Configuration& configuration, const std::string& project);

/// Finds the settings for a link: those of its project, and the general ones for the
/// rest.  The project is looked up only where a project has settings, so that the tool
/// needs no database otherwise.  The database is neither created nor migrated, and an
/// uncommitted link is not seen.  Returns the reason of a failure, or an empty text.
std::string FindSettings(const std::string& hash, const Report& report, Settings& out);

}  // namespace link_url
