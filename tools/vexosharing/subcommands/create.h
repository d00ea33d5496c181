#pragma once

#include <optional>
#include <string>

#include "admin/link_settings.h"
#include "admin/secret.h"
#include "cli/options.h"

namespace command {

/// The options of create and edit, as settings of a link.
struct LinkOptions {
  admin::LinkSettings settings;
  std::optional<std::string> app;           // JSON, @FILE or @-
  std::optional<std::string> private_data;  // the same
  bool password_stdin = false;
  std::optional<std::string> password_file;
  bool generate_password = false;
  admin::Secret password;  // empty until ReadInputs

  const admin::Secret* generated() const {
    return generate_password ? &password : nullptr;
  }
};

/// Reads the password and the JSON of the options, from where they say.  Reports what is
/// wrong.
ExitCode ReadInputs(LinkOptions& options);

/// The options of a subcommand that creates a link.
struct CreateOptions : CommonOptions {
  LinkOptions link;
  bool qr = false;
};

/// Adds the options of create to a subcommand.  The options must outlive it.
void AddCreateOptions(CLI::App& command, CreateOptions& options);

/// Stores a link with the settings, whose inputs have been read, and prints it.
ExitCode StoreNewLink(const CreateOptions& options);

}  // namespace command
