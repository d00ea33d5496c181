#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace command {

/// Help as short as it can be: of an option its name and what it takes, of a subcommand
/// the first line of its description.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter();

  std::string make_description(const CLI::App* app) const override;
  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override;
  std::string make_option_opts(const CLI::Option* option) const override;
  std::string make_subcommand(const CLI::App* subcommand) const override;
};

}  // namespace command
