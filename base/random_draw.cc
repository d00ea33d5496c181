#include "base/random_draw.h"

#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace VEXO::base {

RandomDraw::~RandomDraw() { explicit_bzero(numbers_, sizeof(numbers_)); }

bool RandomDraw::Below(std::uint64_t range, std::uint64_t* out) {
  // 2^32 may not be a multiple of the range.  Draws beyond the last full multiple would
  // make small numbers more likely, so they are discarded.
  constexpr std::uint64_t kDraws = std::uint64_t{1} << 32;
  const std::uint64_t whole_turns = kDraws - kDraws % range;
  do {
    if (left_ == 0) {
      // Never cut short for so few bytes.
      const ssize_t got = TEMP_FAILURE_RETRY(getrandom(numbers_, sizeof(numbers_), 0));
      if (got != static_cast<ssize_t>(sizeof(numbers_))) return false;
      left_ = kCount;
    }
  } while (numbers_[--left_] >= whole_turns);
  *out = numbers_[left_] % range;
  return true;
}

bool DrawText(std::string_view alphabet, size_t length, std::string* out) {
  out->clear();
  if (alphabet.empty()) {
    errno = EINVAL;
    return false;
  }
  out->reserve(length);  // so that no copy of a part is left behind
  RandomDraw draw;
  std::uint64_t index = 0;
  while (out->size() < length && draw.Below(alphabet.size(), &index)) {
    out->push_back(alphabet[index]);
  }
  if (out->size() == length) return true;
  out->clear();
  return false;
}

}  // namespace VEXO::base
