#pragma once

#include <ctime>

namespace fakes {

/// Calls `attempt(now)` again until no second ends meanwhile: `now` is then the time of
/// all that the last attempt did.
template <class Attempt>
void InOneSecond(Attempt attempt) {
  long now = 0;
  do {
    now = time(nullptr);
    attempt(now);
  } while (time(nullptr) != now);
}

}  // namespace fakes
