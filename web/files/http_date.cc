#include "web/files/http_date.h"

#include <array>
#include <cstdio>

namespace web {
namespace {

/// Whether all of the text has the form; then `parts` are its date and time.
bool Matches(const std::string& text, const char* form, tm* parts) {
  *parts = {};
  const char* const end = strptime(text.c_str(), form, parts);
  return end != nullptr && end == text.c_str() + text.size();
}

}  // namespace

std::string FormatHttpDate(time_t time) {
  // Not strftime, whose names depend on the language.
  constexpr std::array kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr std::array kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  tm parts = {};
  gmtime_r(&time, &parts);
  std::array<char, 64> text;
  const int length =
      snprintf(text.data(), text.size(), "%s, %02d %s %04ld %02d:%02d:%02d GMT",
               kDays[parts.tm_wday], parts.tm_mday, kMonths[parts.tm_mon],
               parts.tm_year + 1900L, parts.tm_hour, parts.tm_min, parts.tm_sec);
  return std::string(text.data(), length);
}

std::optional<time_t> ParseHttpDate(std::string_view text, time_t now) {
  constexpr long kFiftyYears = 50L * 31'556'952;
  const std::string date(text);
  tm parts = {};
  if (Matches(date, "%a, %d %b %Y %H:%M:%S GMT", &parts) ||
      Matches(date, "%a %b %e %H:%M:%S %Y", &parts)) {
    return timegm(&parts);
  }
  if (!Matches(date, "%A, %d-%b-%y %H:%M:%S GMT", &parts)) return std::nullopt;
  // The year has two digits: the century is the one nearest to now.
  parts.tm_year %= 100;
  tm today = {};
  gmtime_r(&now, &today);
  parts.tm_year += today.tm_year / 100 * 100 + 100;
  while (timegm(&parts) > now + kFiftyYears) parts.tm_year -= 100;
  return timegm(&parts);
}

}  // namespace web
