#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "keys.h"
#include "outcome.h"

namespace command {

/// What nearly every subcommand understands.
struct CommonOptions {
  std::string database = VEXO::sharing::SZF_SHARING_DB_PATH;
  bool json = false;
};

/// Adds a subcommand, with an example at the end of its help.
CLI::App& AddCommand(CLI::App& app, const std::string& name,
                     const std::string& description, const std::string& example);

void AddJson(CLI::App& command, bool& json);
/// Adds --json and --database.
void AddCommon(CLI::App& command, CommonOptions& options);

/// Adds a flag that sets `value` to `meaning`; the opposite flag is another one.
CLI::Option* AddSwitch(CLI::App& command, const std::string& name,
                       std::optional<bool>& value, bool meaning,
                       const std::string& description);

/// Checks for values.  They write the value in the form that a variable of the type
/// takes.
CLI::Validator WholeNumber(int least = 0);  // for int
CLI::Validator Moment();                    // for long
CLI::Validator JsonObject();
CLI::Validator Utf8();
CLI::Validator NotEmpty();  // and UTF-8
CLI::Validator OneOf(const std::vector<std::string>& words);

}  // namespace command
