#include "terminal/text.h"

#include <utf8cpp/utf8.h>
#include <wchar.h>

#include <cstdio>
#include <iterator>

namespace command {

namespace {

const char kEllipsis[] = "\xE2\x80\xA6";

/// Whether the character changes the writing direction.
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
      snprintf(escape, sizeof(escape), "\\x%02x", byte);
      return escape;
  }
}

size_t WidthOf(char32_t code) { return wcwidth(static_cast<wchar_t>(code)); }

std::string PrintableCharacter(char32_t code) {
  if (code < 0x20 || code == 0x7F) return EscapeByte(code);
  std::string out;
  if (TurnsDirection(code) || wcwidth(static_cast<wchar_t>(code)) < 0) {
    char escape[11];
    snprintf(escape, sizeof(escape), "\\u%04x", static_cast<unsigned int>(code));
    out = escape;
  } else {
    utf8::unchecked::append(code, std::back_inserter(out));
  }
  return out;
}

}  // namespace

std::string Printable(const std::string& text) {
  std::string out;
  for (auto at = text.begin(); at != text.end();) {
    const auto valid_end = utf8::find_invalid(at, text.end());
    while (at != valid_end) out += PrintableCharacter(utf8::unchecked::next(at));
    if (at != text.end()) out += EscapeByte(*at++);
  }
  return out;
}

size_t DisplayWidth(const std::string& text) {
  size_t width = 0;
  for (auto at = text.begin(); at != text.end();) {
    width += WidthOf(utf8::unchecked::next(at));
  }
  return width;
}

size_t FittingLength(const std::string& text, size_t width) {
  auto end = text.begin();
  for (auto at = end; at != text.end(); end = at) {
    const size_t character = WidthOf(utf8::unchecked::next(at));
    if (character > width) break;
    width -= character;
  }
  return end - text.begin();
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
