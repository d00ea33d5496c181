#pragma once

#include <vector>

#include "backend.h"

namespace bench {

/// Lets several processes run a mixture of checks, logins and creations on one database,
/// and prints as JSON the operations a second and the waits, in milliseconds.
///
/// @param visits  of which each process has a part for itself
/// @return whether every operation succeeded
bool RunWriters(const std::vector<Visit>& visits, int processes, double seconds);

}  // namespace bench
