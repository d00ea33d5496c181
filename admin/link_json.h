#pragma once

#include <json/value.h>

#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "admin/link_admin.h"

// The JSON of links, the same in the command and in the web API.  docs/json.schema.json
// describes it.

namespace admin {

/// URLs of links, as vexosharingurl gives them.  One call of the tool serves every link
/// of a project, since only the hash at the end differs.
class LinkUrls {
 public:
  /// Empty when the tool fails; it is not run again then.
  std::string Get(const Entry& link);
  /// Whether the tool has failed.
  bool unknown() const { return unknown_; }

 private:
  std::map<std::string, std::string> prefixes_;  // by project
  bool unknown_ = false;
};

/// The public view of a link, with ids, state, times in seconds since the epoch, and its
/// URL, null when that is not known.  No secret, and no private data.
Json::Value LinkJson(const Entry& link, LinkUrls& urls, long now);
/// The JSON text of LinkJson, written faster, for long lists.
std::string LinkJsonText(const Entry& link, LinkUrls& urls, long now);

/// {"link": ...}, with private data and unresolved names.
Json::Value LinkDetailsJson(const Entry& link, LinkUrls& urls, long now);

/// Of a link that was created or changed: its details, and the generated password, if
/// any.
Json::Value StoredLinkJson(const Entry& link, const Secret* generated, LinkUrls& urls);

/// The link as a line of an export, without its end.  Stored password and private data
/// are left out unless `with_secrets` is set.
std::string LinkLine(const Entry& link, bool with_secrets);

/// Reads a line of an export.  The error names what is wrong: a member that is missing,
/// unknown or of the wrong type, a hash that cannot be part of a URL, or an owner who
/// does not exist on this machine.  It never holds a secret.  `database` only helps to
/// build the record.
Error ParseLinkLine(const std::string& text, BaseDB& database, LineLink& line);

/// {"links": N, "sessions": N, "tokens": N}
Json::Value PurgeJson(const PurgeCounts& counts);

/// [{"id": N, "hash": "..."}]
Json::Value UnreadableJson(const std::vector<UnreadableLink>& links);

/// Links by state, of one project or of all.
struct LinkCounts {
  std::map<std::string, long> by_state;
  long total = 0;
  long logins = 0;

  long Of(LinkState state) const;
};

/// Counts links by project.
Error CountLinks(BaseDB& database, long now, std::map<std::string, LinkCounts>& counts);
/// The sum of all projects.
LinkCounts Sum(const std::map<std::string, LinkCounts>& counts);
/// {"total": N, "logins": N, "states": {"usable": N, ...}}
Json::Value LinkCountsJson(const LinkCounts& counts);

/// Rows of the table of sessions or tokens.
struct VisitorCounts {
  long total = 0;
  long alive = 0;  // not expired
};
Error CountVisitors(BaseDB& database, const std::string& table, long now,
                    VisitorCounts& counts);
/// {"total": N, "alive": N}
Json::Value VisitorCountsJson(const VisitorCounts& counts);

}  // namespace admin
