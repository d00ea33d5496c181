#pragma once

namespace thumbnail {

/// Takes from the process everything that reading descriptor 0, computing, and writing to
/// descriptor 1 do not need: every other descriptor, root's account, new privileges, more
/// memory and time than a thumbnail takes, and all other system calls (seccomp(2)), which
/// end the process from then on.  False when any of this fails.
bool Confine();

}  // namespace thumbnail
