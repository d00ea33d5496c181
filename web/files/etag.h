#pragma once

#include <ctime>
#include <string>

#include "web/files/shared_tree.h"

namespace web {

/// A strong entity tag, with its quotes.  It changes with every change of the file that
/// the kernel's clock can tell from the one before, so also within a second.
std::string EntityTag(const NodeInfo& file);

/// The time for Last-Modified: never later than `now` (RFC 9110, section 8.8.2.1).
time_t LastModified(const NodeInfo& file, time_t now);

}  // namespace web
