#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "admin/link_settings.h"
#include "admin/secret.h"
#include "cli/report.h"

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

/// Heading of the options that protect a link.
extern const char* const kProtectionGroup;

/// Adds the options of a link.
void AddLinkOptions(CLI::App& command, LinkOptions& options);

/// Reads into the settings what the options name: JSON objects and the password.
ExitCode ReadInputs(LinkOptions& options);

}  // namespace command
