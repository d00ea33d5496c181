#pragma once

#include "web/handler.h"
#include "web/variables.h"

namespace web {

/// Answers the one request of a CGI program (RFC 3875): reads the form from standard
/// input, and writes the answer to standard output.  False when it was not sent to its
/// end.
bool ServeCgi(const Handler& handler, const Variables& request);

}  // namespace web
