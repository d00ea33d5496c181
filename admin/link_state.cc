#include "admin/link_state.h"

namespace admin {

LinkState StateOf(const VEXO::sharing::record::Entry& link, long now) {
  if (!link.get_enabled()) return LinkState::kDisabled;
  if (link.get_start_at() > now) return LinkState::kNotStarted;
  if (link.get_expire_at() > 0 && link.get_expire_at() < now) return LinkState::kExpired;
  const bool limited = link.get_expire_times() > 0;
  return limited && link.get_use_count() >= link.get_expire_times() ? LinkState::kUsedUp
                                                                    : LinkState::kUsable;
}

const char* StateName(LinkState state) {
  switch (state) {
    case LinkState::kNotStarted:
      return "not_started";
    case LinkState::kExpired:
      return "expired";
    case LinkState::kUsedUp:
      return "used_up";
    case LinkState::kDisabled:
      return "disabled";
    default:
      return "usable";
  }
}

std::string StateSql(long now) {
  const auto when = [](const std::string& condition, LinkState state) {
    return " WHEN " + condition + " THEN '" + StateName(state) + "'";
  };
  const std::string moment = std::to_string(now);
  return "CASE" + when("enabled != 1", LinkState::kDisabled) +
         when("start_at > " + moment, LinkState::kNotStarted) +
         when("expire_at > 0 AND expire_at < " + moment, LinkState::kExpired) +
         when("expire_times > 0 AND use_count >= expire_times", LinkState::kUsedUp) +
         " ELSE '" + StateName(LinkState::kUsable) + "' END";
}

}  // namespace admin
