#pragma once

#include <functional>

namespace web {

/// Runs `work` in `count` processes at the same time until SIGTERM or SIGINT, and
/// replaces those that end early.  Returns in the parent when all have ended; the
/// children end with what `work` returns.
void RunWorkers(int count, const std::function<int()>& work);

/// Called in a worker that is kept waiting: the parent starts another one at once, for up
/// to 64 that wait.  The worker must end after its request.
void AskForReplacement();

}  // namespace web
