#pragma once

namespace VEXO::base {

/// Opens /dev/null for each standard stream that is closed, so that no file opened later
/// takes its number; reading and writing there fails.  Ignores SIGPIPE: a reader that
/// leaves shows as a failed write.  False when standard output was closed.
bool OccupyStandardStreams();

}  // namespace VEXO::base
