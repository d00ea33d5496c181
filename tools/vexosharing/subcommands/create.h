#pragma once

#include "cli/link_options.h"
#include "cli/options.h"

namespace command {

/// The options of a subcommand that creates a link.
struct CreateOptions : CommonOptions {
  LinkOptions link;
  bool qr = false;
};

void AddCreateOptions(CLI::App& command, CreateOptions& options);

/// Stores a link with the settings, whose inputs have been read, and prints it.
ExitCode StoreNewLink(const CreateOptions& options);

}  // namespace command
