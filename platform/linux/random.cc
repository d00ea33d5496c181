#include "vexo/random.hpp"

#include <errno.h>
#include <stdint.h>
#include <string.h>
#include <sys/random.h>

#include "guarded.h"

namespace VEXO::RANDOM {

const char* const POOL_ALPHA_NUMERIC =
    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
const char* const POOL_URL_FRIENDLY =
    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ-_";

namespace {

/// Numbers of the kernel's generator, fetched some at a time.  It lives only as long as
/// one call: nothing is shared by threads, or inherited across fork.
class Source {
 public:
  Source() = default;
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  ~Source() { explicit_bzero(numbers_, sizeof(numbers_)); }

  /// A number below `range` (1 to 2^32), each as likely as any other.
  bool Below(uint64_t range, uint64_t* out) {
    // The remainder would favour small numbers: draws from the incomplete last turn of
    // the range are thrown away.
    const uint64_t whole_turns = kDraws - kDraws % range;
    uint32_t number;
    do {
      if (!Next(&number)) return false;
    } while (number >= whole_turns);
    *out = number % range;
    return true;
  }

 private:
  static constexpr uint64_t kDraws = uint64_t{1} << 32;
  static constexpr size_t kCount = 16;

  bool Next(uint32_t* number) {
    if (left_ == 0 && !Fill()) return false;
    *number = numbers_[--left_];
    return true;
  }

  bool Fill() {
    ssize_t got;
    do {
      got = getrandom(numbers_, sizeof(numbers_), 0);  // so few bytes come whole
    } while (got == -1 && errno == EINTR);
    if (got != static_cast<ssize_t>(sizeof(numbers_))) return false;
    left_ = kCount;
    return true;
  }

  uint32_t numbers_[kCount] = {};
  size_t left_ = 0;
};

}  // namespace

VEXORandomBase::VEXORandomBase() = default;
VEXORandomBase::~VEXORandomBase() = default;

int VEXORandomBase::random(int low, int high) {
  if (low > high) {
    errno = EINVAL;
    return low;
  }
  Source source;
  uint64_t offset;
  const uint64_t range = static_cast<uint64_t>(int64_t{high} - low) + 1;
  if (!source.Below(range, &offset)) return low;  // errno is the kernel's
  return static_cast<int>(low + static_cast<int64_t>(offset));
}

VEXORandom::VEXORandom() = default;
VEXORandom::~VEXORandom() = default;

bool VEXORandom::getString(const char* pool, std::size_t length, std::string& out) {
  const bool drawn = platform::Guarded(false, [&] {
    const size_t size = pool == nullptr ? 0 : strlen(pool);
    if (size == 0) {
      errno = EINVAL;
      return false;
    }
    std::string text(length, '\0');
    Source source;
    for (char& character : text) {
      uint64_t index;
      if (!source.Below(size, &index)) return false;
      character = pool[index];
    }
    out.swap(text);
    return true;
  });
  if (!drawn) out.clear();
  return drawn;
}

}  // namespace VEXO::RANDOM
