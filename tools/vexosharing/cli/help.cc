#include "cli/help.h"

#include <utility>

namespace command {

namespace {

constexpr size_t kColumn = 28;  // where the descriptions begin

}  // namespace

HelpFormatter::HelpFormatter() {
  column_width(kColumn);
  label("Positionals", "Arguments");
}

std::string HelpFormatter::make_description(const CLI::App* app) const {
  return Formatter::make_description(app) + "\n";
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string name,
                                     CLI::AppFormatMode mode) const {
  // One blank line between groups is enough.
  return CLI::detail::find_and_replace(Formatter::make_help(app, std::move(name), mode),
                                       "\n\n\n", "\n\n");
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
  if (option->get_positional() || option->get_type_size() == 0) return "";
  return " " + option->get_type_name();
}

std::string HelpFormatter::make_subcommand(const CLI::App* subcommand) const {
  const std::string description = subcommand->get_description();
  std::ostringstream out;
  CLI::detail::format_help(out, subcommand->get_name(),
                           description.substr(0, description.find('\n')), kColumn);
  return out.str();
}

}  // namespace command
