#pragma once

namespace tools {

/// Puts something into the place of standard streams that are closed, so that no file
/// opened later takes their numbers; reading and writing there fails.  A reader that goes
/// away shows as a failed write, not as a signal.  False when standard output is closed.
bool OccupyStandardStreams();

}  // namespace tools
