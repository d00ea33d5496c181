#pragma once

#include <ctime>

namespace VEXO::sharing::record {

/// What `act` answers for a `now` that is still the current second when it is done.
template <class Act>
bool WithinOneSecond(Act act) {
  for (;;) {
    const long now = time(nullptr);
    const bool answer = act(now);
    if (time(nullptr) == now) return answer;
  }
}

}  // namespace VEXO::sharing::record
