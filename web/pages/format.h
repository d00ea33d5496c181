#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace web {

/// A size for people, in the current language: "1.5 MB".
std::string FormatSize(std::uint64_t bytes);

/// A time in the time zone of the system: "2026-11-22 01:58".
std::string FormatTime(time_t time);

/// The same with the zone: "2026-11-22 01:58 (UTC+01:00)".
std::string FormatTimeAndZone(time_t time);

/// A time in UTC, which is named: "2026-11-22 00:58 UTC"; with seconds unless they are 0.
std::string FormatUtcTime(time_t time);

/// The same for programs (ISO 8601): "2026-11-22T00:58:00Z".
std::string FormatIsoTime(time_t time);

}  // namespace web
