#include "cli/date.h"

#include <time.h>

#include <charconv>
#include <map>

#include "admin/link_settings.h"

namespace command {

namespace {

const char* const kDateFormats[] = {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%dT%H:%M",
                                    "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S"};

std::string Format(const tm& local, const char* format) {
  char text[64];
  return {text, strftime(text, sizeof(text), format, &local)};
}

/// False when the text is not a time span.
bool ParseSpan(const std::string& text, long now, long& seconds, std::string& reason) {
  const std::map<char, long> units = {
      {'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 7 * 86400}};
  long count = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, count);
  if (error == std::errc::invalid_argument || stop + 1 != end || count < 0) return false;
  const auto unit = units.find(*stop);
  if (unit == units.end()) return false;
  if (error == std::errc::result_out_of_range ||
      count > (admin::kLatestTime - now) / unit->second) {
    reason = "later than the year 9999";
  } else {
    seconds = now + count * unit->second;
  }
  return true;
}

/// False when the text is not a date.  strptime accepts more than the formats say, and
/// mktime moves what does not exist: both show in the text of the result.
bool ParseLocalDate(const std::string& text, long& seconds, std::string& reason) {
  for (const char* const format : kDateFormats) {
    tm given = {};
    const char* const end = strptime(text.c_str(), format, &given);
    if (end == nullptr || *end != '\0' || Format(given, format) != text) continue;
    given.tm_isdst = -1;  // summer time as it is on that day
    seconds = mktime(&given);
    if (Format(given, format) != text) {
      reason = "no such local date or time";
    } else if (seconds <= 0) {
      reason = "not later than 1970-01-01";
    }
    return true;
  }
  return false;
}

std::string LocalText(long seconds, const char* format) {
  if (seconds == 0) return "never";
  tm local = {};
  return localtime_r(&seconds, &local) == nullptr ? std::to_string(seconds)
                                                  : Format(local, format);
}

}  // namespace

bool ParseDate(const std::string& text, long now, long& seconds, std::string& reason) {
  const bool never = text == "never" || text == "none";
  long parsed = never ? 0 : now;
  reason.clear();
  if (!never && text != "now" && !ParseSpan(text, now, parsed, reason) &&
      !ParseLocalDate(text, parsed, reason)) {
    reason = "expected 2026-12-31, \"2026-12-31 18:00\", 7d or never";
  }
  if (!reason.empty()) return false;
  seconds = parsed;
  return true;
}

std::string DateText(long seconds) { return LocalText(seconds, "%Y-%m-%d %H:%M:%S"); }

std::string DateTextToMinute(long seconds) {
  return LocalText(seconds, "%Y-%m-%d %H:%M");
}

}  // namespace command
