#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace command {

/// Short help: options with the name of their value only, subcommands with the first line
/// of their description.
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
