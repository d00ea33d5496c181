#include "utils/plain_text.h"

#include <charconv>
#include <iterator>
#include <limits>

namespace VEXO::sharing {

PlainText& PlainText::operator<<(std::string_view text) {
  text_ += text;
  return *this;
}

template <class T>
PlainText& PlainText::Append(T number) {
  char digits[std::numeric_limits<T>::digits10 + 2];  // one more digit, and a sign
  text_.append(digits, std::to_chars(digits, std::end(digits), number).ptr);
  return *this;
}

PlainText& PlainText::operator<<(int number) { return Append(number); }
PlainText& PlainText::operator<<(unsigned int number) { return Append(number); }
PlainText& PlainText::operator<<(long number) { return Append(number); }

}  // namespace VEXO::sharing
