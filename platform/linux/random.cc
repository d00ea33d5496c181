#include "vexo/random.hpp"

#include <cerrno>
#include <cstdint>

#include "base/random_draw.h"
#include "catch_bad_alloc.h"

namespace VEXO::RANDOM {

const char* const POOL_ALPHA_NUMERIC =
    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
const char* const POOL_URL_FRIENDLY =
    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ-_";

VEXORandomBase::VEXORandomBase() = default;
VEXORandomBase::~VEXORandomBase() = default;

int VEXORandomBase::random(int low, int high) {
  if (low > high) {
    errno = EINVAL;
    return low;
  }
  uint64_t offset = 0;
  const uint64_t range = static_cast<uint64_t>(int64_t{high} - low) + 1;
  if (!base::RandomDraw().Below(range, &offset)) return low;  // errno is the kernel's
  return static_cast<int>(low + static_cast<int64_t>(offset));
}

VEXORandom::VEXORandom() = default;
VEXORandom::~VEXORandom() = default;

bool VEXORandom::getString(const char* pool, std::size_t length, std::string& out) {
  return platform::CatchBadAlloc(
      false, [&] { return base::DrawText(pool == nullptr ? "" : pool, length, &out); });
}

}  // namespace VEXO::RANDOM
