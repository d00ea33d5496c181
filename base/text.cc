#include "base/text.h"

namespace VEXO::base {

std::string Trim(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return "";
  return std::string(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

char ToLowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string ToLowerAscii(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = ToLowerAscii(c);
  return lower;
}

std::vector<std::string> Split(std::string_view text, std::string_view separators) {
  std::vector<std::string> parts;
  size_t begin = 0;
  for (;;) {
    const size_t end = text.find_first_of(separators, begin);
    parts.push_back(Trim(text.substr(begin, end - begin)));
    if (end == std::string_view::npos) return parts;
    begin = end + 1;
  }
}

std::string HexText(const unsigned char* bytes, size_t size) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * size);
  for (size_t i = 0; i < size; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0xf];
  }
  return text;
}

}  // namespace VEXO::base
