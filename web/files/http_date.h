#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace web {

/// The time in the preferred form of HTTP: "Sun, 06 Nov 1994 08:49:37 GMT".
std::string FormatHttpDate(time_t time);

/// Reads any of the three forms of RFC 9110, section 5.6.7.  A year of two digits that
/// seems to be more than 50 years after `now` is in the past.  Nothing for any other
/// text.
std::optional<time_t> ParseHttpDate(std::string_view text, time_t now);

}  // namespace web
