// vexosharing: the administrator's command for sharing links.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <clocale>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "admin/accounts.h"
#include "admin/database_access.h"
#include "base/standard_streams.h"
#include "cli/report.h"
#include "subcommands/table.h"
#include "terminal/text.h"
#include "version.h"

namespace {

using command::ExitCode;

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

const char kFooter[] =
    "\"vexosharing help SUBCOMMAND\" shows the help of a subcommand, with an example.\n\n"
    "Exit codes:\n"
    "  0    success\n"
    "  1    operation refused or failed, or nothing matches\n"
    "  2    usage error\n"
    "  3    the database cannot be used\n"
    "  130  interrupted\n"
    "  141  the reader of standard output has closed it";

/// The command with its subcommand, as in "vexosharing create".
std::string CommandPath(const CLI::App& app) {
  const auto subcommands = app.get_subcommands();
  return app.get_name() +
         (subcommands.empty() ? "" : " " + subcommands.front()->get_name());
}

/// The message for a usage error.  Values are not repeated: one may be a password.
std::string UsageErrorText(const CLI::App& app, const CLI::ParseError& error) {
  for (const std::string& argument : app.remaining(true)) {
    if (argument.rfind('-', 0) == 0) {
      return "unknown option: " + argument.substr(0, argument.find('='));
    }
    if (app.get_subcommands().empty()) return "unknown subcommand: " + argument;
  }
  if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
    return "too many arguments";
  }
  // The parser reports wrong numbers of values less clearly.
  std::string text = error.what();
  const size_t name = std::min(text.find("--"), text.size());
  const std::string option = text.substr(name, text.find_first_of(" :", name) - name);
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    return option + " requires exactly one value";
  }
  if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr) {
    return option + " does not take a value";
  }
  return text;
}

/// The arguments in the order of the parser, from the last to the first.  The parser
/// would use the argument after "--name=" as its value, so an empty argument is inserted.
std::vector<std::string> Arguments(int argc, char** argv) {
  char** const options_end = std::find(argv, argv + argc, std::string("--"));
  std::vector<std::string> arguments;
  for (char** at = argv + argc; --at > argv;) {
    std::string argument = *at;
    if (at < options_end && argument.rfind("--", 0) == 0 &&
        argument.find('=') == argument.size() - 1) {
      argument.pop_back();
      arguments.emplace_back();
    }
    arguments.push_back(argument);
  }
  return arguments;
}

ExitCode Run(int argc, char** argv) {
  CLI::App app("Manage the sharing links of this machine.", "vexosharing");
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_help_flag("-h,--help", "show this help");
  app.set_version_flag("--version", "vexosharing " VEXOSHARING_VERSION,
                       "show the version");
  app.require_subcommand(1);
  app.footer(kFooter);
  command::Action action;
  for (const command::Subcommand& subcommand : command::Subcommands()) {
    command::AddSubcommand(app, subcommand, action);
  }
  try {
    app.parse(Arguments(argc, argv));
  } catch (const CLI::Success& help) {
    app.exit(help);
    return command::kSuccess;
  } catch (const CLI::ParseError& error) {
    return command::Fail(command::kUsageError, UsageErrorText(app, error) + "; see " +
                                                   CommandPath(app) + " --help");
  }
  // Before anything is looked at, or a secret is read.
  const admin::Error error = admin::CheckCaller();
  return error ? command::Fail(error) : action();
}

}  // namespace

int main(int argc, char** argv) try {
  VEXO::base::OccupyStandardStreams();
  command::CatchInterrupt();
  const admin::AccountCache accounts;
  std::setlocale(LC_CTYPE, "C.UTF-8");  // texts are UTF-8 whatever the caller's locale
  ExitCode exit_code = Run(argc, argv);
  if (exit_code != command::kSuccess && command::Interrupted()) {
    exit_code = command::kInterrupted;
  }
  return command::CloseOutput(exit_code);
} catch (const std::exception& error) {
  std::fprintf(stderr, "vexosharing: %s\n", error.what());
  return command::kRefused;
}
