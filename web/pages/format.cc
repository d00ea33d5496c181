#include "format.h"

#include "base/text.h"
#include "web/language.h"

namespace web {
namespace {

constexpr std::uint64_t kThousand = 1000;

std::string FormatLocal(time_t time, const char* format) {
  struct tm local = {};
  char text[64];
  if (localtime_r(&time, &local) == nullptr) return "";
  return {text, strftime(text, sizeof(text), format, &local)};
}

std::string FormatUtc(time_t time, const char* format) {
  struct tm utc = {};
  char text[64];
  if (gmtime_r(&time, &utc) == nullptr) return "";
  return {text, strftime(text, sizeof(text), format, &utc)};
}

/// Tenths as a number with one decimal place.
std::string FormatTenths(std::uint64_t tenths) {
  // TRANSLATORS: the sign between a whole number and its decimal places
  const std::string point = TranslateIn("decimal point", ".");
  return std::to_string(tenths / 10) + point + std::to_string(tenths % 10);
}

}  // namespace

std::string FormatSize(std::uint64_t bytes) {
  const char* const units[] = {"kB", "MB", "GB", "TB", "PB", "EB"};
  if (bytes < kThousand) return std::to_string(bytes) + " B";
  size_t unit = 0;
  while (bytes >= kThousand * kThousand) {
    bytes /= kThousand;
    ++unit;
  }
  const std::string number = bytes < 100 * kThousand ? FormatTenths(bytes / 100)
                                                     : std::to_string(bytes / kThousand);
  return number + " " + units[unit];
}

std::string FormatTime(time_t time) { return FormatLocal(time, "%Y-%m-%d %H:%M"); }

std::string FormatTimeAndZone(time_t time) {
  std::string zone = FormatLocal(time, "%z");  // +0100
  if (zone.size() == 5) zone.insert(3, ":");
  return FormatTime(time) + " (UTC" + (zone == "+00:00" ? "" : zone) + ")";
}

std::string FormatUtcTime(time_t time) {
  return FormatUtc(time, time % 60 == 0 ? "%Y-%m-%d %H:%M UTC" : "%Y-%m-%d %H:%M:%S UTC");
}

std::string FormatIsoTime(time_t time) {
  return FormatUtc(time, VEXO::base::kIsoTimeFormat);
}

}  // namespace web
