#pragma once

#include <ctime>

namespace fakes {

/// Calls `attempt(now)` until one call begins and ends in the same second, so that `now`
/// is the time of everything that the last call did.
template <class Attempt>
void InOneSecond(Attempt attempt) {
  long now = 0;
  do {
    now = time(nullptr);
    attempt(now);
  } while (time(nullptr) != now);
}

}  // namespace fakes
