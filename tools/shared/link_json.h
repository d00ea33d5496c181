#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "entry.h"

namespace tools {

/// The link for a program: its public view, with ids, its state, and times in seconds
/// since the epoch; no secret.  Its private data is not in it.
Json::Value LinkJson(const VEXO::sharing::record::Entry& link, long now);

Json::Value JsonArray(const std::vector<std::string>& texts);

}  // namespace tools
