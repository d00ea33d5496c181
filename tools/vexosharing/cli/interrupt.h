#pragma once

namespace command {

/// Installs signal handlers: from now on an interrupt (SIGINT, SIGTERM, or SIGHUP where
/// it is not ignored) is only noted: long operations check for it between rows or
/// batches.  Another one, a second or more later, ends the program at once.
void CatchInterrupt();

/// Whether there was one; this stays true.
bool Interrupted();

}  // namespace command
