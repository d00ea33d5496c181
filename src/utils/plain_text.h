#pragma once

#include <string>
#include <string_view>

namespace VEXO::sharing {

/// Builds a text.  Numbers are written in decimal without grouping, in any locale of the
/// program.
class PlainText {
 public:
  PlainText() { text_.reserve(kUsualSize); }

  PlainText& operator<<(std::string_view text);
  PlainText& operator<<(int number);
  PlainText& operator<<(unsigned int number);
  PlainText& operator<<(long number);
  PlainText& operator<<(char) = delete;  // would be written as a number

  const std::string& str() const { return text_; }

 private:
  static constexpr size_t kUsualSize = 120;  // of a statement

  template <class T>
  PlainText& Append(T number);

  std::string text_;
};

}  // namespace VEXO::sharing
