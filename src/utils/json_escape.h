#pragma once

#include <string>
#include <string_view>

namespace VEXO::sharing {

/// Number of bytes at the beginning of `text` that stand for themselves in the JSON
/// strings that JsonText writes.
inline size_t CountPlainInJson(std::string_view text) {
  size_t count = 0;
  while (count < text.size() && text[count] != '"' && text[count] != '\\' &&
         static_cast<unsigned char>(text[count]) >= 0x20) {
    ++count;
  }
  return count;
}

/// Appends the escape sequence that JsonText writes for a byte that is not plain.
void AppendJsonEscape(char byte, std::string& text);

/// Reads an escape sequence that JsonText writes, and removes it from `text`.
///
/// @return false when `text` begins with anything else
bool TakeJsonEscape(std::string_view& text, char& byte);

}  // namespace VEXO::sharing
