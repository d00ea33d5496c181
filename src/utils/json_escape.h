#pragma once

#include <string>
#include <string_view>

namespace VEXO::sharing {

/// Whether a byte stands for itself in the JSON strings that JsonText writes.
inline bool IsPlainInJson(char byte) {
  return byte != '"' && byte != '\\' && static_cast<unsigned char>(byte) >= 0x20;
}

/// Appends the escape sequence that JsonText writes for a byte that is not plain.
void AppendJsonEscape(char byte, std::string& text);

/// Reads an escape sequence that JsonText writes, and removes it from `text`.
///
/// @return false when `text` begins with anything else
bool TakeJsonEscape(std::string_view& text, char& byte);

}  // namespace VEXO::sharing
