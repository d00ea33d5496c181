#pragma once

#include "web/handler.h"

namespace web {

/// Answers the requests that a web server sends to the listening socket that is standard
/// input, one after the other, until SIGTERM or SIGINT.  A body that does not fit in the
/// buffers of the socket is sent, and files are received, by a child, of which there are
/// at most `downloads`.
///
/// @return exit code of the process
int ServeFastCgi(const Handler& handler, int downloads);

}  // namespace web
