#include "current_platform.h"
#include "vexo/random.hpp"

namespace VEXO::RANDOM {

const char* const POOL_ALPHA_NUMERIC =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
const char* const POOL_URL_FRIENDLY =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

VEXORandomBase::VEXORandomBase() = default;
VEXORandomBase::~VEXORandomBase() = default;

int VEXORandomBase::random(int low, int high) {
  fakes::Platform& platform = fakes::CurrentPlatform();
  platform.Record(fakes::CallText("random", low, high));
  if (platform.random_numbers.empty()) return high;
  const int number = platform.random_numbers.front();
  platform.random_numbers.pop_front();
  return number;
}

VEXORandom::VEXORandom() = default;
VEXORandom::~VEXORandom() = default;

bool VEXORandom::getString(const char* pool, std::size_t length, std::string& out) {
  fakes::Platform& platform = fakes::CurrentPlatform();
  if (platform.Refuse(fakes::CallText("getString", pool, length))) {
    out.clear();
    return false;
  }
  if (platform.random_strings.empty()) {
    out = platform.UniqueString(pool, length);
  } else {
    out = platform.random_strings.front();
    platform.random_strings.pop_front();
  }
  return true;
}

}  // namespace VEXO::RANDOM
