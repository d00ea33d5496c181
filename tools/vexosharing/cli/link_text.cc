#include "cli/link_text.h"

#include <algorithm>
#include <ctime>

#include "admin/accounts.h"
#include "cli/date.h"
#include "cli/report.h"
#include "terminal/text.h"

namespace command {

std::string StateWords(LinkState state) {
  std::string words = StateName(state);
  std::replace(words.begin(), words.end(), '_', ' ');
  return words;
}

Style StateStyle(LinkState state) {
  if (state == LinkState::kUsable) return Style::kGood;
  return state == LinkState::kNotStarted ? Style::kWarning : Style::kBad;
}

std::string StateText(const Entry& link, long now) {
  const LinkState state = admin::StateOf(link, now);
  switch (state) {
    case LinkState::kNotStarted:
      return "not started, starts " + DateText(link.get_start_at());
    case LinkState::kExpired:
      return "expired " + DateText(link.get_expire_at());
    case LinkState::kUsedUp:
      return "use limit reached: " + UsesText(link, " of ") + " uses";
    default:
      return StateWords(state);
  }
}

std::string UsesText(const Entry& link, const char* between) {
  const std::string count = std::to_string(link.get_use_count());
  const int limit = link.get_expire_times();
  return limit == 0 ? count : count + between + std::to_string(limit);
}

std::string UserText(unsigned int uid) {
  std::string name;
  const bool known = admin::Users().FindName(uid, name) == admin::AccountState::kFound;
  return known ? name : std::to_string(uid) + " (unknown)";
}

std::string UrlText(const Entry& link, admin::LinkUrls& urls) {
  const bool reported = urls.unknown();
  std::string url = urls.Get(link);
  if (urls.unknown() && !reported) {
    ReportWarning("URL unknown: /usr/vexo/bin/vexosharingurl failed");
  }
  return url;
}

void WarnAboutLink(const admin::LinkSettings& given, const Entry& link) {
  const std::string users = Join(Unresolved(admin::AllowedUsers(link)));
  const std::string groups = Join(Unresolved(admin::AllowedGroups(link)));
  if (given.users && !users.empty()) ReportWarning("user not found: " + users);
  if (given.groups && !groups.empty()) ReportWarning("group not found: " + groups);
  const long now = time(nullptr);
  if (given.expire_at && admin::StateOf(link, now) == LinkState::kExpired) {
    ReportWarning("nobody can use the link: " + StateText(link, now));
  }
}

void ReportUnreadable(const std::vector<admin::UnreadableLink>& unreadable) {
  if (unreadable.empty()) return;
  std::vector<std::string> rows;
  rows.reserve(unreadable.size());
  for (const admin::UnreadableLink& row : unreadable) {
    rows.push_back(row.hash + " (id " + std::to_string(row.id) + ")");
  }
  ReportWarning(Counted(static_cast<long>(rows.size()), "unreadable row") + ": " +
                JoinFirst(rows) + "; run vexosharing check");
}

}  // namespace command
