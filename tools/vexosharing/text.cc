#include "text.h"

#include <wchar.h>

#include <cstdio>

#include "utf8.h"

namespace command {

namespace {

const char kReplacement[] = "\xEF\xBF\xBD";
const char kEllipsis[] = "\xE2\x80\xA6";

/// Whether the character makes what follows it run the other way.
bool TurnsDirection(char32_t code) {
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

std::string ToUtf8(const std::string& text) {
  if (tools::IsUtf8(text)) return text;
  std::string out;
  for (size_t at = 0; at < text.size();) {
    const tools::Character character = tools::Decode(text, at);
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
    const tools::Character character = tools::Decode(text, at);
    if (character.length == 0) {
      out += EscapeByte(text[at]);
      ++at;
      continue;
    }
    if (character.length == 1 && (character.code < 0x20 || character.code == 0x7F)) {
      out += EscapeByte(text[at]);
    } else if (TurnsDirection(character.code) ||
               wcwidth(static_cast<wchar_t>(character.code)) < 0) {
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
    const tools::Character character = tools::Decode(text, at);
    width += wcwidth(static_cast<wchar_t>(character.code));
    at += character.length;
  }
  return width;
}

size_t FittingLength(const std::string& text, size_t width) {
  size_t used = 0;
  size_t at = 0;
  while (at < text.size()) {
    const tools::Character character = tools::Decode(text, at);
    used += wcwidth(static_cast<wchar_t>(character.code));
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
