#pragma once

#include <functional>

namespace web {

/// Runs `work` in `count` processes at the same time until SIGTERM or SIGINT, and
/// replaces those that end early.  Returns in the parent when all have ended; the
/// children end with what `work` returns.
void RunWorkers(int count, const std::function<int()>& work);

/// Called in a worker that is kept waiting: asks the parent to start another one at once,
/// which it does while fewer than 64 replaced workers are left.
void AskForReplacement();

/// Whether the parent has started another worker in place of this one, which must then
/// end.  True once.
bool IsReplaced();

}  // namespace web
