#pragma once

#include <cerrno>
#include <exception>

namespace VEXO::platform {

/// Runs `body` for a C function.  When memory runs out, the exception ends here: the
/// result is `failure`, with ENOMEM in errno.  Only the standard library's exceptions are
/// caught: a cancelled thread unwinds too, and must not be stopped.
template <class Result, class Body>
Result CatchBadAlloc(Result failure, Body body) {
  try {
    return body();
  } catch (const std::exception&) {
    errno = ENOMEM;
    return failure;
  }
}

}  // namespace VEXO::platform
