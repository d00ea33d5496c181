#include "utf8.h"

namespace tools {

Character Decode(const std::string& text, size_t at) {
  const auto byte = [&text, at](size_t i) -> unsigned char {
    return at + i < text.size() ? text[at + i] : 0;
  };
  const unsigned char first = byte(0);
  if (first < 0x80) return {first, 1};
  const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4) return {0, 0};
  char32_t code = first & (0xFF >> (length + 1));
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {0, 0};
    code = (code << 6) | (byte(i) & 0x3F);
  }
  const bool too_long = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (too_long || surrogate || code > 0x10FFFF) return {0, 0};
  return {code, length};
}

bool IsUtf8(const std::string& text) {
  size_t at = 0;
  while (at < text.size()) {
    const Character character = Decode(text, at);
    if (character.length == 0) return false;
    at += character.length;
  }
  return true;
}

}  // namespace tools
