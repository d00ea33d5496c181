#include "trim.h"

namespace tools {

std::string Trim(const std::string& text) {
  const char blanks[] = " \t\r\n";
  const size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

}  // namespace tools
