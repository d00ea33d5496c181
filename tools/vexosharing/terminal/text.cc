#include "terminal/text.h"

#include <utf8cpp/utf8.h>
#include <wchar.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>

namespace command {

namespace {

const char kEllipsis[] = "\xE2\x80\xA6";

constexpr std::u32string_view kTurnsDirection =
    U"\u061C\u200E\u200F\u202A\u202B\u202C\u202D\u202E\u2066\u2067\u2068\u2069";

int WidthOf(char32_t code) { return wcwidth(static_cast<wchar_t>(code)); }

std::string Escape(const char* format, unsigned int code) {
  char escape[11];
  snprintf(escape, sizeof(escape), format, code);
  return escape;
}

std::string EscapeByte(unsigned char byte) {
  if (byte == '\n') return "\\n";
  if (byte == '\r') return "\\r";
  if (byte == '\t') return "\\t";
  return Escape("\\x%02x", byte);
}

std::string PrintableCharacter(char32_t code) {
  if (code < 0x20 || code == 0x7F) return EscapeByte(code);
  const bool turns = kTurnsDirection.find(code) != std::u32string_view::npos;
  if (turns || WidthOf(code) < 0) return Escape("\\u%04x", code);
  std::string out;
  utf8::unchecked::append(code, std::back_inserter(out));
  return out;
}

/// Whether every byte is a printable ASCII character, one column wide.
bool IsPlain(const std::string& text) {
  return std::all_of(text.begin(), text.end(),
                     [](char byte) { return byte >= ' ' && byte <= '~'; });
}

}  // namespace

std::string Printable(const std::string& text) {
  if (IsPlain(text)) return text;
  std::string out;
  for (auto at = text.begin(); at != text.end();) {
    const auto valid_end = utf8::find_invalid(at, text.end());
    while (at != valid_end) out += PrintableCharacter(utf8::unchecked::next(at));
    if (at != text.end()) out += EscapeByte(*at++);
  }
  return out;
}

size_t DisplayWidth(const std::string& text) {
  if (IsPlain(text)) return text.size();
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

std::string JoinFirst(std::vector<std::string> texts) {
  constexpr size_t kFirst = 10;
  if (texts.size() > kFirst) {
    texts[kFirst] = "and " + std::to_string(texts.size() - kFirst) + " more";
    texts.resize(kFirst + 1);
  }
  return Join(texts);
}

}  // namespace command
