#pragma once

#include <string>

namespace command {

/// Parses a point in time into seconds since the epoch: "now"; "never" or "none" (0); a
/// local date and time such as 2026-12-31, 2026-12-31 18:00 or 2026-12-31T18:00:30; or a
/// time span from `now`, such as 90s, 15m, 12h, 7d or 4w.  Returns why it is refused; an
/// empty text when it is accepted.
std::string ParseDate(const std::string& text, long now, long& seconds);

/// Parses a point in time of the past: a local date and time, "now", or a time span up to
/// `now`.  One before 1970-01-01 is 0.  Returns as ParseDate.
std::string ParsePastDate(const std::string& text, long now, long& seconds);

/// Local time to the second, or to the minute; "never" for 0.
std::string DateText(long seconds);
std::string DateTextToMinute(long seconds);

}  // namespace command
