#pragma once

/// @file
/// Counts system calls of the process: the functions of the C library that make them are
/// replaced by functions of the same names, which count and call the original.  With
/// LD_PRELOAD this works for every program: it then prints the number of syncs at its
/// end.

namespace bench {

struct Calls {
  long syncs = 0;     ///< fsync and fdatasync
  long switches = 0;  ///< setresuid and setresgid
};

/// The calls so far.
Calls CountedCalls();

}  // namespace bench
