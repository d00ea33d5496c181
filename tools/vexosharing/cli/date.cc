#include "cli/date.h"

#include <time.h>

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>

#include "admin/link_settings.h"

namespace command {

namespace {

const char* const kDateFormats[] = {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%dT%H:%M",
                                    "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M:%S"};

std::string Format(const tm& local, const char* format) {
  char text[64];
  return {text, strftime(text, sizeof(text), format, &local)};
}

/// The seconds of a time span such as "7d", at most those until the latest time; nothing
/// for any other text.
std::optional<long> ParseSpan(const std::string& text) {
  const std::map<char, long> units = {
      {'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 7 * 86400}};
  long count = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, count);
  if (error == std::errc::invalid_argument || stop + 1 != end || count < 0) return {};
  const auto unit = units.find(*stop);
  if (unit == units.end()) return {};
  const long most = admin::kLatestTime / unit->second;
  return error == std::errc() && count <= most ? count * unit->second
                                               : admin::kLatestTime;
}

std::string LocalText(long seconds, const char* format) {
  if (seconds == 0) return "never";
  tm local = {};
  return localtime_r(&seconds, &local) == nullptr ? std::to_string(seconds)
                                                  : Format(local, format);
}

/// Parses a local date and time.  Returns why it is refused; `otherwise` when it has none
/// of the forms.
std::string ParseLocal(const std::string& text, const std::string& otherwise,
                       long& seconds) {
  // strptime accepts more than the formats say, and mktime moves what does not exist:
  // both show in the text of the result.
  for (const char* const format : kDateFormats) {
    tm given = {};
    const char* const end = strptime(text.c_str(), format, &given);
    if (end == nullptr || *end != '\0' || Format(given, format) != text) continue;
    given.tm_isdst = -1;  // summer time as it is on that day
    const long parsed = mktime(&given);
    if (Format(given, format) != text) return "no such local date or time";
    if (parsed <= 0) return "not later than 1970-01-01";
    seconds = parsed;
    return "";
  }
  return otherwise;
}

}  // namespace

std::string ParseDate(const std::string& text, long now, long& seconds) {
  if (text == "never" || text == "none") {
    seconds = 0;
    return "";
  }
  if (const std::optional<long> span = ParseSpan(text == "now" ? "0s" : text)) {
    if (*span > admin::kLatestTime - now) return "later than the year 9999";
    seconds = now + *span;
    return "";
  }
  return ParseLocal(text, "expected 2026-12-31, \"2026-12-31 18:00\", 7d or never",
                    seconds);
}

std::string ParsePastDate(const std::string& text, long now, long& seconds) {
  if (const std::optional<long> span = ParseSpan(text == "now" ? "0s" : text)) {
    seconds = std::max(0L, now - *span);
    return "";
  }
  return ParseLocal(text, "expected 2026-12-31, \"2026-12-31 18:00\" or 7d", seconds);
}

std::string DateText(long seconds) { return LocalText(seconds, "%Y-%m-%d %H:%M:%S"); }

std::string DateTextToMinute(long seconds) {
  return LocalText(seconds, "%Y-%m-%d %H:%M");
}

}  // namespace command
