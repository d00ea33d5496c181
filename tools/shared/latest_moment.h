#pragma once

namespace tools {

/// The last midnight of the year 9999 in UTC, the latest that a count of seconds may
/// reach: in every time zone it has a year of four digits, as texts of a time need it.
inline constexpr long kLatestMoment = 253402214400;

}  // namespace tools
