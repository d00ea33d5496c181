#pragma once

#include <syslog.h>
#include <unistd.h>

namespace VEXO::sharing {

inline unsigned int Pid() { return static_cast<unsigned int>(getpid()); }

}  // namespace VEXO::sharing

/// syslog(3) at error priority.  A macro, so that the compiler checks the format and the
/// `errno` of the failing call reaches "%m".
#define LogError(...) syslog(LOG_ERR, __VA_ARGS__)

/// Logs and returns false when `condition` is true.  Operators search for line and text,
/// so both are given and do not depend on the code.
#define SHARING_REFUSE_IF(line, condition, text)                                  \
  do {                                                                            \
    if (condition) {                                                              \
      LogError("%s:%d (%u) Failed [%s], err=%m\n\n", kSource, line, Pid(), text); \
      return false;                                                               \
    }                                                                             \
  } while (false)
