#include "web/files/name_search.h"

#include <utf8cpp/utf8.h>
#include <wctype.h>

#include <iterator>

#include "base/text.h"

namespace web {

NameSearch::NameSearch(std::string_view text)
    : locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)), text_(Fold(text)) {}

NameSearch::~NameSearch() {
  if (locale_ != nullptr) freelocale(locale_);
}

bool NameSearch::Finds(std::string_view name) const {
  return text_.empty() || Fold(name).find(text_) != std::string::npos;
}

/// The text in lower case.  Bytes that are not UTF-8 stay as they are.
std::string NameSearch::Fold(std::string_view text) const {
  std::string folded;
  for (auto at = text.begin(); at != text.end();) {
    const auto valid_end = utf8::find_invalid(at, text.end());
    while (at != valid_end) {
      const char32_t code = utf8::unchecked::next(at);
      utf8::unchecked::append(Lower(code), std::back_inserter(folded));
    }
    if (at != text.end()) folded += *at++;
  }
  return folded;
}

char32_t NameSearch::Lower(char32_t code) const {
  if (code < 0x80) return VEXO::base::ToLowerAscii(static_cast<char>(code));
  return locale_ == nullptr ? code : towlower_l(code, locale_);
}

}  // namespace web
