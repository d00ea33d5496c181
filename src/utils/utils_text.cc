#include <cstring>
#include <utility>
#include <vexo/random.hpp>

#include "utils.h"

namespace VEXO::sharing {

bool IsProbabilityHit(float probability) {
  static RANDOM::VEXORandom generator;
  const int drawn = generator.random(0, 99);
  const float percent = probability * 100.0F;
  if (!(percent >= 1.0F)) {
    return false;  // also when it is not a number
  }
  // From 100 on every draw hits.  The conversion of a larger number may be undefined.
  return percent >= 100.0F || drawn < static_cast<int>(percent);
}

bool StringExplode(std::vector<std::string>& out, const std::string& text,
                   const char* delimiter) {
  if (delimiter == nullptr) return false;
  const size_t width = strlen(delimiter);
  std::vector<std::string> pieces;  // `text` may be an element of `out`
  size_t begin = 0;
  while (begin < text.size()) {
    const size_t found = width == 0 ? std::string::npos : text.find(delimiter, begin);
    const size_t end = found == std::string::npos ? text.size() : found;
    if (end > begin) {
      pieces.push_back(text.substr(begin, end - begin));
    }
    begin = end + width;
    if (found == std::string::npos) break;
  }
  out = std::move(pieces);
  return true;
}

}  // namespace VEXO::sharing
