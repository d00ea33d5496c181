#pragma once

#include <string>

namespace command {

/// Reads a moment, in seconds since the epoch: "now"; "never" or "none", which are 0; a
/// local date and time such as 2026-12-31, 2026-12-31 18:00 or 2026-12-31T18:00:30; or a
/// span from `now`, such as 90s, 15m, 12h, 7d or 4w.  False for anything else, and for a
/// local time that does not exist.
bool ParseMoment(const std::string& text, long now, long& seconds);

/// Local time to the second, or to the minute; "never" for 0.
std::string MomentText(long seconds);
std::string MinuteText(long seconds);

}  // namespace command
