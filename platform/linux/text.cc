#include "text.h"

#include <charconv>

namespace VEXO::platform {

std::string Trim(const std::string& text) {
  const char* const kBlanks = " \t\r\n";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::string> Split(const std::string& text, const char* separators) {
  std::vector<std::string> parts;
  size_t begin = 0;
  for (;;) {
    const size_t end = text.find_first_of(separators, begin);
    parts.push_back(Trim(text.substr(begin, end - begin)));
    if (end == std::string::npos) return parts;
    begin = end + 1;
  }
}

std::optional<long> ParseNumber(const std::string& text, long low, long high) {
  if (text.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
  long number = 0;
  const char* const end = text.data() + text.size();
  const auto [stopped, reason] = std::from_chars(text.data(), end, number);
  if (reason != std::errc() || stopped != end || number < low || number > high) {
    return std::nullopt;
  }
  return number;
}

}  // namespace VEXO::platform
