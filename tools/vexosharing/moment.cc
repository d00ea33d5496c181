#include "moment.h"

#include <charconv>
#include <ctime>

#include "latest_moment.h"

namespace command {

namespace {

/// Takes `digits` decimal digits off the front of `text`.
bool TakeNumber(std::string& text, size_t digits, int& number) {
  if (text.size() < digits) return false;
  const char* const end = text.data() + digits;
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || text[0] == '-') return false;
  text.erase(0, digits);
  return true;
}

bool TakeOneOf(std::string& text, const std::string& characters) {
  if (text.empty() || characters.find(text[0]) == std::string::npos) return false;
  text.erase(0, 1);
  return true;
}

bool ParseSpan(const std::string& text, long now, long& seconds) {
  long count = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, count);
  if (error != std::errc() || stop + 1 != end || count < 0) return false;
  long unit = 0;
  switch (*stop) {
    case 's':
      unit = 1;
      break;
    case 'm':
      unit = 60;
      break;
    case 'h':
      unit = 3600;
      break;
    case 'd':
      unit = 86400;
      break;
    case 'w':
      unit = 7 * 86400;
      break;
    default:
      return false;
  }
  if (count > (tools::kLatestMoment - now) / unit) return false;
  seconds = now + count * unit;
  return true;
}

bool ParseDate(std::string text, long& seconds) {
  tm asked = {};
  if (!TakeNumber(text, 4, asked.tm_year) || !TakeOneOf(text, "-") ||
      !TakeNumber(text, 2, asked.tm_mon) || !TakeOneOf(text, "-") ||
      !TakeNumber(text, 2, asked.tm_mday)) {
    return false;
  }
  if (!text.empty() && (!TakeOneOf(text, " T") || !TakeNumber(text, 2, asked.tm_hour) ||
                        !TakeOneOf(text, ":") || !TakeNumber(text, 2, asked.tm_min))) {
    return false;
  }
  if (!text.empty() &&
      (!TakeOneOf(text, ":") || !TakeNumber(text, 2, asked.tm_sec) || !text.empty())) {
    return false;
  }
  asked.tm_year -= 1900;
  asked.tm_mon -= 1;
  asked.tm_isdst = -1;  // summer time as it is on that day
  tm real = asked;
  const time_t moment = mktime(&real);
  // What the calendar or the clock change had to move does not exist.
  if (moment <= 0 || real.tm_year != asked.tm_year || real.tm_mon != asked.tm_mon ||
      real.tm_mday != asked.tm_mday || real.tm_hour != asked.tm_hour ||
      real.tm_min != asked.tm_min || real.tm_sec != asked.tm_sec) {
    return false;
  }
  seconds = moment;
  return true;
}

std::string LocalText(long seconds, const char* format) {
  if (seconds == 0) return "never";
  const time_t moment = seconds;
  tm local = {};
  char text[64];
  if (localtime_r(&moment, &local) == nullptr) return std::to_string(seconds);
  return {text, strftime(text, sizeof text, format, &local)};
}

}  // namespace

bool ParseMoment(const std::string& text, long now, long& seconds) {
  if (text == "now") {
    seconds = now;
    return true;
  }
  if (text == "never" || text == "none") {
    seconds = 0;
    return true;
  }
  return ParseSpan(text, now, seconds) || ParseDate(text, seconds);
}

std::string MomentText(long seconds) { return LocalText(seconds, "%Y-%m-%d %H:%M:%S"); }
std::string MinuteText(long seconds) { return LocalText(seconds, "%Y-%m-%d %H:%M"); }

}  // namespace command
