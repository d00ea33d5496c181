#pragma once

#include <errno.h>

#include <exception>

namespace VEXO::platform {

/// Runs `body` for a C function: when memory runs out, the exception ends here and the
/// answer is `failure` with ENOMEM.  Only the standard library's exceptions are caught: a
/// cancelled thread unwinds too, and must not be stopped.
template <class Answer, class Body>
Answer Guarded(Answer failure, Body body) {
  try {
    return body();
  } catch (const std::exception&) {
    errno = ENOMEM;
    return failure;
  }
}

}  // namespace VEXO::platform
