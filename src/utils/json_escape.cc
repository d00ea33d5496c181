#include "utils/json_escape.h"

namespace VEXO::sharing {

namespace {

// Bytes whose escape sequence is a backslash and a letter.  Every other one is a control
// character, written as a backslash, this prefix and two digits.
constexpr std::string_view kBytes = "\"\\\b\f\n\r\t";
constexpr std::string_view kLetters = "\"\\bfnrt";
constexpr std::string_view kPrefix = "u00";
constexpr std::string_view kDigits = "0123456789abcdef";

}  // namespace

void AppendJsonEscape(char byte, std::string& text) {
  text += '\\';
  const size_t letter = kBytes.find(byte);
  if (letter != std::string_view::npos) {
    text += kLetters[letter];
    return;
  }
  text += kPrefix;
  text += kDigits[byte / 16];
  text += kDigits[byte % 16];
}

bool TakeJsonEscape(std::string_view& text, char& byte) {
  if (text.size() < 2 || text[0] != '\\') return false;
  const size_t letter = kLetters.find(text[1]);
  if (letter != std::string_view::npos) {
    byte = kBytes[letter];
    text.remove_prefix(2);
    return true;
  }
  if (text.size() < 6 || text.substr(1, kPrefix.size()) != kPrefix) return false;
  const size_t high = kDigits.find(text[4]);
  const size_t low = kDigits.find(text[5]);
  if (high > 1 || low == std::string_view::npos) return false;
  byte = static_cast<char>(high * 16 + low);
  text.remove_prefix(6);
  return kBytes.find(byte) == std::string_view::npos;
}

}  // namespace VEXO::sharing
