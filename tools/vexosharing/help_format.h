#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace command {

/// Help as short as it can be: of an option its name and what it takes, of a subcommand
/// the first line of its description.
class HelpFormat : public CLI::Formatter {
 public:
  HelpFormat();

  std::string make_option_opts(const CLI::Option* option) const override;
  std::string make_subcommand(const CLI::App* subcommand) const override;
};

}  // namespace command
