#pragma once

#include <cstddef>
#include <string>

namespace tools {

struct Character {
  char32_t code;
  size_t length;  // in bytes; 0 where the text holds no UTF-8
};

/// The character that begins at `at`.  No overlong form, no surrogate and nothing beyond
/// the last code point is one (RFC 3629).
Character Decode(const std::string& text, size_t at);

/// Whether the whole text is UTF-8.
bool IsUtf8(const std::string& text);

}  // namespace tools
