#include "base/random_draw.h"

#include <sys/random.h>

#include <cerrno>
#include <cstring>

namespace VEXO::base {
namespace {

constexpr std::uint64_t kDraws = std::uint64_t{1} << 32;  // how many numbers there are

}  // namespace

RandomDraw::~RandomDraw() { explicit_bzero(numbers_, sizeof(numbers_)); }

bool RandomDraw::Below(std::uint64_t range, std::uint64_t* out) {
  // 2^32 may not be a multiple of the range.  Draws beyond the last full multiple would
  // make small numbers more likely, so they are discarded.
  const std::uint64_t whole_turns = kDraws - kDraws % range;
  std::uint32_t number = 0;
  do {
    if (!Next(&number)) return false;
  } while (number >= whole_turns);
  *out = number % range;
  return true;
}

bool RandomDraw::Next(std::uint32_t* number) {
  if (left_ == 0 && !Fill()) return false;
  *number = numbers_[--left_];
  return true;
}

bool RandomDraw::Fill() {
  ssize_t got = 0;
  do {
    got = getrandom(numbers_, sizeof(numbers_), 0);  // never cut short for so few bytes
  } while (got == -1 && errno == EINTR);
  if (got != static_cast<ssize_t>(sizeof(numbers_))) return false;
  left_ = kCount;
  return true;
}

bool DrawText(std::string_view alphabet, size_t length, std::string* out) {
  out->clear();
  if (alphabet.empty()) {
    errno = EINVAL;
    return false;
  }
  std::string text(length, '\0');
  RandomDraw draw;
  for (char& character : text) {
    std::uint64_t index = 0;
    if (!draw.Below(alphabet.size(), &index)) return false;
    character = alphabet[index];
  }
  out->swap(text);
  return true;
}

}  // namespace VEXO::base
