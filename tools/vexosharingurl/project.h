#pragma once

#include <string>

namespace url_tool {

/// Looks up the project of the link with this hash.  `project` stays empty when there is
/// no such link, or no database yet.  The database is neither created nor migrated, and
/// an uncommitted link is not seen.  False, with the reason, when the lookup fails.
bool FindProject(const std::string& hash, std::string& project, std::string& reason);

}  // namespace url_tool
