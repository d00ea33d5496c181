#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/report.h"
#include "keys.h"

namespace command {

/// Options of nearly every subcommand.
struct CommonOptions {
  std::string database = VEXO::sharing::SZF_SHARING_DB_PATH;
  bool json = false;
};

void AddJson(CLI::App& command, bool& json);
/// Adds --json and --database.
void AddCommon(CLI::App& command, CommonOptions& options);

/// Adds an option that takes a value, which the help calls `type`, as in "NAME".
template <class Value>
CLI::Option* AddValue(CLI::App& command, const std::string& name, Value& value,
                      const std::string& type, const CLI::Validator& validator,
                      const std::string& description) {
  return command.add_option(name, value, description)
      ->transform(validator)
      ->type_name(type);
}

/// Adds a flag that sets `value` to `meaning`; the opposite flag is another one.
CLI::Option* AddSwitch(CLI::App& command, const std::string& name,
                       std::optional<bool>& value, bool meaning,
                       const std::string& description);

/// Adds the required argument HASH, which can also be the URL of the link.
void AddHash(CLI::App& command, std::string& hash);

/// Validators.  They replace the value by the form that a variable of the type accepts.
CLI::Validator WholeNumber(int least = 0);  // for int
CLI::Validator Size();                      // for std::uint64_t; at least 1
CLI::Validator Date();                      // for long
CLI::Validator PastDate();                  // for long; spans count back from now
CLI::Validator Utf8();
CLI::Validator NotEmpty();  // and UTF-8
CLI::Validator OneOf(const std::vector<std::string>& words);
/// Accepts the hash of a link or its URL, which it replaces by the hash.
CLI::Validator HashOrUrl();

}  // namespace command
