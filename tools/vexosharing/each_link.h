#pragma once

#include <string>
#include <vector>

#include "entry_db.h"
#include "options.h"
#include "outcome.h"
#include "token_db.h"

namespace command {

/// What `delete` and `revoke` have in common: something done to each of the links named,
/// which takes their tokens away.
struct EachLinkOptions {
  CommonOptions common;
  std::vector<std::string> hashes;
};

/// Adds HASH... and the common options.
void AddEachLinkOptions(CLI::App& command, EachLinkOptions& options);

/// What is done to one link, inside a transaction.
using LinkAction = bool (*)(VEXO::sharing::db::EntryDB& links,
                            VEXO::sharing::db::TokenDB& tokens,
                            const VEXO::sharing::record::Entry& link);

/// Runs the action on one link after the other and prints how many tokens went with each,
/// under `done`, as in "deleted".  A link that is not there is told, and the others go
/// on.
Outcome ForEachLink(const EachLinkOptions& options, const std::string& done,
                    LinkAction action);

}  // namespace command
