#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "entry.h"
#include "outcome.h"
#include "secret.h"

namespace command {

using VEXO::sharing::record::Entry;

/// What a call says of a link; what it does not name has no value.
struct LinkOptions {
  std::optional<std::string> project;
  std::optional<std::string> owner;
  std::optional<std::string> app;
  std::optional<std::string> private_data;
  std::optional<long> start;
  std::optional<long> expire;
  std::optional<int> uses;
  bool password_stdin = false;
  std::optional<std::string> password_file;
  bool generate_password = false;
  std::optional<std::vector<std::string>> users;
  std::optional<std::vector<std::string>> groups;
  std::optional<bool> match_ip;
  std::optional<std::string> title;
  std::optional<std::string> redirect_type;
  std::optional<std::string> redirect_uri;
  std::optional<bool> keep;

  bool HasPassword() const {
    return password_stdin || generate_password || password_file;
  }
};

/// Heading of the options that say whom a link admits.
extern const char* const kProtectionGroup;

/// What a date may look like, for the help.
extern const char* const kDatesHelp;

/// Adds the options of a link.
void AddLinkOptions(CLI::App& command, LinkOptions& options);

/// Gets hold of the password, if the options ask for one.
Outcome ReadPassword(const LinkOptions& options, Secret& password);

/// Writes what the options name into the link.  What is not kDone has been told.
Outcome ApplyOptions(const LinkOptions& options, const Secret& password, Entry& link);

}  // namespace command
