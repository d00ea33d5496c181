#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace command {

/// Short help: options with the name of their value only, subcommands with the first line
/// of their description.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter() {
    column_width(28);
    label("Positionals", "Arguments");
  }

  std::string make_description(const CLI::App* app) const override {
    return Formatter::make_description(app) + "\n";
  }

  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override {
    // One blank line between groups is enough.
    return CLI::detail::find_and_replace(Formatter::make_help(app, name, mode), "\n\n\n",
                                         "\n\n");
  }

  std::string make_option_opts(const CLI::Option* option) const override {
    const bool has_value = !option->get_positional() && option->get_type_size() != 0;
    return has_value ? " " + option->get_type_name() : "";
  }

  std::string make_subcommand(const CLI::App* subcommand) const override {
    const std::string description = subcommand->get_description();
    std::ostringstream out;
    CLI::detail::format_help(out, subcommand->get_name(),
                             description.substr(0, description.find('\n')),
                             get_column_width());
    return out.str();
  }
};

}  // namespace command
