#include "web/files/display_name.h"

#include <utf8cpp/utf8.h>

#include <array>
#include <cstdio>
#include <iterator>

#include "base/percent.h"

namespace web {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

void Append(char32_t code, std::string* out) {
  utf8::unchecked::append(code, std::back_inserter(*out));
}

/// Calls `append(code, out)` for each character and `append_invalid(byte, out)` for each
/// byte that is not UTF-8.
template <class AppendCharacter, class AppendByte>
std::string Rewrite(std::string_view text, AppendCharacter append,
                    AppendByte append_invalid) {
  std::string out;
  out.reserve(text.size());
  for (auto at = text.begin(); at != text.end();) {
    const auto valid_end = utf8::find_invalid(at, text.end());
    while (at != valid_end) append(utf8::unchecked::next(at), &out);
    if (at != text.end()) append_invalid(*at++, &out);
  }
  return out;
}

void AppendReplacement(char /*byte*/, std::string* out) { Append(kReplacement, out); }

/// Control characters, separators of lines, and codes that are not characters: none of
/// them belongs into a line of text or into HTML.
bool IsControl(char32_t code) {
  return code < 0x20 || (code >= 0x7F && code <= 0x9F) || code == 0x2028 ||
         code == 0x2029 || (code >= 0xFDD0 && code <= 0xFDEF) ||
         (code & 0xFFFE) == 0xFFFE;
}

/// Whether the character changes the writing direction.
bool TurnsDirection(char32_t code) {
  return code == 0x061C || code == 0x200E || code == 0x200F ||
         (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

/// Whether the character must not reach a program as part of a name.
bool IsUnsafeInName(char32_t code) {
  return IsControl(code) || TurnsDirection(code) || code == '/' || code == '\\';
}

}  // namespace

std::string ToValidUtf8(std::string_view text) {
  return Rewrite(text, Append, AppendReplacement);
}

std::string DisplayName(std::string_view name) {
  const auto append = [](char32_t code, std::string* out) {
    if (!IsControl(code) && !TurnsDirection(code)) return Append(code, out);
    std::array<char, 16> shown;
    snprintf(shown.data(), shown.size(), "[U+%04X]", static_cast<unsigned int>(code));
    *out += shown.data();
  };
  return Rewrite(name, append, AppendReplacement);
}

std::string DisplayText(std::string_view text) {
  bool after_return = false;
  const auto append = [&after_return](char32_t code, std::string* out) {
    const bool ends_line = code == '\n' || code == '\r';
    const bool counted = code == '\n' && after_return;
    after_return = code == '\r';
    if (counted) return;
    if (ends_line) return Append(U'\n', out);
    Append(IsControl(code) && code != '\t' ? kReplacement : code, out);
  };
  return Rewrite(text, append, AppendReplacement);
}

std::string ArchiveName(std::string_view name) {
  if (name.empty() || name == "." || name == "..") return "_";
  const auto append = [](char32_t code, std::string* out) {
    std::string character;
    Append(code, &character);
    *out += IsUnsafeInName(code) ? VEXO::base::PercentEncode(character) : character;
  };
  return Rewrite(name, append, [](char byte, std::string* out) {
    *out += VEXO::base::PercentEncode(std::string_view(&byte, 1));
  });
}

std::string DownloadName(std::string_view name) {
  const auto append = [](char32_t code, std::string* out) {
    Append(IsUnsafeInName(code) ? U'_' : code, out);
  };
  return Rewrite(name, append, AppendReplacement);
}

}  // namespace web
