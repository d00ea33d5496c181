#include "text.h"

#include <wchar.h>

#include <cstdio>

namespace command {

namespace {

const char kReplacement[] = "\xEF\xBF\xBD";
const char kEllipsis[] = "\xE2\x80\xA6";

struct Character {
  wchar_t code;
  size_t length;  // in bytes; 0 where the text holds no UTF-8
};

/// The character that begins at `at`.
Character Decode(const std::string& text, size_t at) {
  const auto byte = [&text, at](size_t i) -> unsigned char {
    return at + i < text.size() ? text[at + i] : 0;
  };
  const unsigned char first = byte(0);
  if (first < 0x80) return {static_cast<wchar_t>(first), 1};
  const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4) return {0, 0};
  wchar_t code = static_cast<wchar_t>(first & (0xFF >> (length + 1)));
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {0, 0};
    code = (code << 6) | (byte(i) & 0x3F);
  }
  const bool too_long = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (too_long || surrogate || code > 0x10FFFF) return {0, 0};
  return {code, length};
}

/// Whether the character makes what follows it run the other way.
bool TurnsDirection(wchar_t code) {
  return code == 0x061C || (code >= 0x200E && code <= 0x200F) ||
         (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

std::string EscapeByte(unsigned char byte) {
  switch (byte) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      char escape[5];
      snprintf(escape, sizeof escape, "\\x%02x", byte);
      return escape;
  }
}

}  // namespace

bool IsUtf8(const std::string& text) {
  size_t at = 0;
  while (at < text.size()) {
    const Character character = Decode(text, at);
    if (character.length == 0) return false;
    at += character.length;
  }
  return true;
}

std::string ToUtf8(const std::string& text) {
  if (IsUtf8(text)) return text;
  std::string out;
  for (size_t at = 0; at < text.size();) {
    const Character character = Decode(text, at);
    if (character.length == 0) {
      out += kReplacement;
      ++at;
    } else {
      out.append(text, at, character.length);
      at += character.length;
    }
  }
  return out;
}

std::string Printable(const std::string& text) {
  std::string out;
  for (size_t at = 0; at < text.size();) {
    const Character character = Decode(text, at);
    if (character.length == 0) {
      out += EscapeByte(text[at]);
      ++at;
      continue;
    }
    if (character.length == 1 && (character.code < 0x20 || character.code == 0x7F)) {
      out += EscapeByte(text[at]);
    } else if (TurnsDirection(character.code) || wcwidth(character.code) < 0) {
      char escape[11];
      snprintf(escape, sizeof escape, "\\u%04x",
               static_cast<unsigned int>(character.code));
      out += escape;
    } else {
      out.append(text, at, character.length);
    }
    at += character.length;
  }
  return out;
}

size_t DisplayWidth(const std::string& text) {
  size_t width = 0;
  for (size_t at = 0; at < text.size();) {
    const Character character = Decode(text, at);
    width += wcwidth(character.code);
    at += character.length;
  }
  return width;
}

size_t FittingLength(const std::string& text, size_t width) {
  size_t used = 0;
  size_t at = 0;
  while (at < text.size()) {
    const Character character = Decode(text, at);
    used += wcwidth(character.code);
    if (used > width) break;
    at += character.length;
  }
  return at;
}

std::string Fit(const std::string& text, size_t width) {
  if (DisplayWidth(text) <= width) return text;
  return text.substr(0, FittingLength(text, width - 1)) + kEllipsis;
}

std::string Counted(long count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string Join(const std::vector<std::string>& texts) {
  std::string out;
  for (const std::string& text : texts) {
    if (!out.empty()) out += ", ";
    out += text;
  }
  return out;
}

}  // namespace command
