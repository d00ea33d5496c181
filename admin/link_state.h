#pragma once

#include <string>

#include "entry.h"

namespace admin {

/// What a visitor who wants to log in meets: the first that holds of disabled, not
/// started, expired and use limit reached, the order in which the login checks.
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
