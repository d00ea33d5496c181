#include "characters.h"

#include <utf8cpp/utf8.h>

#include <cstdlib>
#include <iterator>

#include "web/files/display_name.h"

namespace web {

std::string DecodeEntity(std::string_view entity) {
  static const struct {
    std::string_view name;
    std::string_view text;
  } kNames[] = {{"&amp;", "&"},        {"&lt;", "<"},         {"&gt;", ">"},
                {"&quot;", "\""},      {"&apos;", "'"},       {"&nbsp;", "\u00a0"},
                {"&copy;", "\u00a9"},  {"&reg;", "\u00ae"},   {"&hellip;", "\u2026"},
                {"&ndash;", "\u2013"}, {"&mdash;", "\u2014"}, {"&times;", "\u00d7"}};
  for (const auto& [name, text] : kNames) {
    if (entity == name) return std::string(text);
  }
  if (entity.substr(0, 2) != "&#") return std::string(entity);
  const bool hexadecimal = entity[2] == 'x' || entity[2] == 'X';
  const std::string digits(entity.substr(hexadecimal ? 3 : 2));
  const unsigned long code = strtoul(digits.c_str(), nullptr, hexadecimal ? 16 : 10);
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  std::string text;
  utf8::unchecked::append(code == 0 || code > 0x10FFFF || surrogate ? 0xFFFD : code,
                          std::back_inserter(text));
  return DisplayText(text);
}

bool IsVisible(std::string_view text) {
  for (auto at = text.begin(); at != text.end();) {
    const char32_t code = utf8::unchecked::next(at);
    const bool blank = code <= 0x20 || code == 0xA0 || code == 0x1680 ||
                       (code >= 0x2000 && code <= 0x200F) || code == 0x202F ||
                       code == 0x205F || code == 0x2060 || code == 0x3000 ||
                       code == 0xFEFF;
    if (!blank) return true;
  }
  return false;
}

}  // namespace web
