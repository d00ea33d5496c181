#pragma once

#include <functional>

namespace web {

/// Runs `work` in `count` processes at the same time until SIGTERM or SIGINT, and
/// replaces those that end early.  Returns in the parent when all have ended; the
/// children end with what `work` returns.
void RunWorkers(int count, const std::function<int()>& work);

}  // namespace web
