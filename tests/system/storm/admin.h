#pragma once

#include <string>
#include <vector>

#include "stop_flag.h"

namespace storm {

/// Runs the subcommands of `commands`/vexosharing in turn, and edits the titles of
/// `links`, until the flag is set.
void Administer(const std::string& journal, const std::string& commands,
                const std::vector<std::string>& links, const StopFlag& stop);

}  // namespace storm
