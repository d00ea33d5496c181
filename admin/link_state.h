#pragma once

#include <string>

#include "entry.h"

namespace admin {

/// Whether a visitor can log in.  When several states apply, it is the first in the order
/// in which the login checks: disabled, not started, expired, use limit reached.
enum class LinkState { kUsable, kNotStarted, kExpired, kUsedUp, kDisabled };

inline constexpr LinkState kLinkStates[] = {LinkState::kUsable, LinkState::kNotStarted,
                                            LinkState::kExpired, LinkState::kUsedUp,
                                            LinkState::kDisabled};

LinkState StateOf(const VEXO::sharing::record::Entry& link, long now);

/// For programs: "usable", "not_started", "expired", "used_up" or "disabled".
const char* StateName(LinkState state);

/// The name of a row's state, as an SQL expression on the columns of the table of links.
std::string StateSql(long now);

}  // namespace admin
