#pragma once

#include <locale>
#include <string>

namespace fakes {

/// During its lifetime the C++ locale of the program writes 1234567.5 as 1.234.567,5.
class DigitGrouping {
 public:
  DigitGrouping()
      : before_(std::locale::global(std::locale(std::locale(), new Punctuation))) {}
  ~DigitGrouping() { std::locale::global(before_); }
  DigitGrouping(const DigitGrouping&) = delete;
  DigitGrouping& operator=(const DigitGrouping&) = delete;

 private:
  class Punctuation : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };

  const std::locale before_;
};

}  // namespace fakes
