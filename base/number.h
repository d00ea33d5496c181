#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace VEXO::base {

/// Parses a text that is a number and nothing else: decimal digits, with a minus sign
/// before them when `low` is negative.  Nothing for any other text (blanks, a plus sign,
/// no digit) and for a number below `low` or above `high`.
template <class T>
std::optional<T> ParseNumber(std::string_view text, T low, T high) {
  if (!text.empty() && text.front() == '-' && !(low < 0)) return std::nullopt;
  T number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number < low || number > high) {
    return std::nullopt;
  }
  return number;
}

}  // namespace VEXO::base
