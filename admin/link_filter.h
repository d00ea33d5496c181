#pragma once

#include <optional>
#include <string>

#include "base_db.h"
#include "entry.h"

namespace admin {

/// Whether a visitor can log in.  When several states apply, it is the first in the order
/// in which the login checks: disabled, not started, expired, use limit reached.
/// The numbers are those of VexoSharingLinkState.
enum class LinkState { kUsable, kNotStarted, kExpired, kUsedUp, kDisabled };

inline constexpr LinkState kLinkStates[] = {LinkState::kUsable, LinkState::kNotStarted,
                                            LinkState::kExpired, LinkState::kUsedUp,
                                            LinkState::kDisabled};

LinkState StateOf(const VEXO::sharing::record::Entry& link, long now);

/// For programs: "usable", "not_started", "expired", "used_up" or "disabled".
const char* StateName(LinkState state);

/// The name of a row's state, as an SQL expression on the columns of the table of links.
std::string StateSql(long now);

/// Selects links.  A member that is not set matches every link.
struct LinkFilter {
  std::string hash;
  std::string project;
  std::optional<unsigned int> owner;
  std::string state;   // name of a LinkState
  std::string search;  // in title, application data and note; the case of ASCII letters
                       // is ignored

  bool empty() const {
    return hash.empty() && project.empty() && !owner && state.empty() && search.empty();
  }
  /// The filter as an SQL condition; empty when nothing is set.
  std::string Sql(const VEXO::sharing::db::BaseDB& database, long now) const;
};

}  // namespace admin
