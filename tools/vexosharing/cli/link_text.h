#pragma once

#include <string>
#include <vector>

#include "admin/link_json.h"
#include "terminal/terminal.h"

// Links as text for people.

namespace command {

using admin::Entry;
using admin::LinkState;

/// Project of the links that the web front end of this machine serves.
inline constexpr char kFilesProject[] = "files";

/// The state's name with blanks: "not started".
std::string StateWords(LinkState state);
Style StateStyle(LinkState state);

/// "usable", or why not: "expired 2026-12-31 18:00:00".
std::string StateText(const Entry& link, long now);

/// "3", or "3 of 10" with " of " between count and limit.
std::string UsesText(const Entry& link, const char* between);

/// The name of a user, or "5001 (unknown)".
std::string UserText(unsigned int uid);

/// The URL of a link; empty, reported once, when the tool that knows it fails.
std::string UrlText(const Entry& link, admin::LinkUrls& urls);

/// Warns of users and groups that do not exist, and when the link has expired already, if
/// the call has set them.
void WarnAboutLink(const admin::LinkSettings& given, const Entry& link);

/// Reports the number of unreadable rows and the first of them.
void ReportUnreadable(const std::vector<admin::UnreadableLink>& unreadable);

}  // namespace command
