#pragma once

#include <string>

#include "entry.h"
#include "terminal.h"

namespace command {

using VEXO::sharing::record::Entry;

/// What a visitor meets, the first that holds of: disabled, expired, used up, not
/// started.  The login refuses a link whose uses are all taken.
enum class LinkState { kUsable, kNotStarted, kExpired, kUsedUp, kDisabled };

LinkState StateOf(const Entry& link, long now);

/// "usable", "not started", "expired", "used up", "disabled".
const char* StateName(LinkState state);
Style StateStyle(LinkState state);

/// The name of a row's state, as an SQL expression on the columns of the table of links.
std::string StateSql(long now);

/// "usable now", or why not: "expired 2026-12-31 18:00:00".
std::string StateText(const Entry& link, long now);

}  // namespace command
