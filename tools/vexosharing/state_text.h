#pragma once

#include <string>

#include "entry.h"
#include "link_state.h"
#include "terminal.h"

namespace command {

using tools::LinkState;
using VEXO::sharing::record::Entry;

/// The state's name with blanks, for people: "not started".
std::string StateWords(LinkState state);
Style StateStyle(LinkState state);

/// "usable now", or why not: "expired 2026-12-31 18:00:00".
std::string StateText(const Entry& link, long now);

}  // namespace command
