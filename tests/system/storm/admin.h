#pragma once

#include <string>
#include <vector>

#include "stop_flag.h"

namespace storm {

/// Runs one subcommand after the other of the vexosharing in the folder `commands`, and
/// edits the titles of the links in turn, until the flag is set.
void Administer(const std::string& journal, const std::string& commands,
                const std::vector<std::string>& links, const StopFlag& stop);

}  // namespace storm
