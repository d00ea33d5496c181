#include "link_state.h"

#include "moment.h"

namespace command {

LinkState StateOf(const Entry& link, long now) {
  if (!link.get_enabled()) return LinkState::kDisabled;
  if (link.get_expire_at() > 0 && link.get_expire_at() < now) return LinkState::kExpired;
  if (link.get_expire_times() > 0 && link.get_use_count() >= link.get_expire_times()) {
    return LinkState::kUsedUp;
  }
  if (link.get_start_at() > now) return LinkState::kNotStarted;
  return LinkState::kUsable;
}

const char* StateName(LinkState state) {
  switch (state) {
    case LinkState::kNotStarted:
      return "not started";
    case LinkState::kExpired:
      return "expired";
    case LinkState::kUsedUp:
      return "used up";
    case LinkState::kDisabled:
      return "disabled";
    default:
      return "usable";
  }
}

Style StateStyle(LinkState state) {
  switch (state) {
    case LinkState::kUsable:
      return Style::kGood;
    case LinkState::kNotStarted:
      return Style::kWarning;
    default:
      return Style::kBad;
  }
}

std::string StateSql(long now) {
  const std::string moment = std::to_string(now);
  return "CASE WHEN enabled != 1 THEN 'disabled'"
         " WHEN expire_at > 0 AND expire_at < " +
         moment +
         " THEN 'expired'"
         " WHEN expire_times > 0 AND use_count >= expire_times THEN 'used up'"
         " WHEN start_at > " +
         moment + " THEN 'not started' ELSE 'usable' END";
}

std::string StateText(const Entry& link, long now) {
  switch (StateOf(link, now)) {
    case LinkState::kNotStarted:
      return "not before " + MomentText(link.get_start_at());
    case LinkState::kExpired:
      return "expired " + MomentText(link.get_expire_at());
    case LinkState::kUsedUp:
      return "used up: " + std::to_string(link.get_use_count()) + " of " +
             std::to_string(link.get_expire_times()) + " uses";
    case LinkState::kDisabled:
      return "disabled";
    default:
      return "usable now";
  }
}

}  // namespace command
