#include "help_format.h"

namespace command {

namespace {

constexpr size_t kColumn = 28;  // where the descriptions begin

}  // namespace

HelpFormat::HelpFormat() { column_width(kColumn); }

std::string HelpFormat::make_option_opts(const CLI::Option* option) const {
  if (option->get_positional() || option->get_type_size() == 0) return "";
  return " " + option->get_type_name();
}

std::string HelpFormat::make_subcommand(const CLI::App* subcommand) const {
  const std::string description = subcommand->get_description();
  std::ostringstream out;
  CLI::detail::format_help(out, subcommand->get_name(),
                           description.substr(0, description.find('\n')), kColumn);
  return out.str();
}

}  // namespace command
