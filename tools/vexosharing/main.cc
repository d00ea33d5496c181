// vexosharing: the administrator's command for sharing links.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <clocale>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "database.h"
#include "help_format.h"
#include "interrupt.h"
#include "outcome.h"
#include "output.h"
#include "standard_streams.h"
#include "text.h"

namespace {

using command::Outcome;

const char kFooter[] =
    "Each subcommand has a --help of its own, with an example.\n\n"
    "Exit codes:\n"
    "  0  done\n"
    "  1  refused, or nothing matches what was named\n"
    "  2  wrong call\n"
    "  3  the database cannot be used\n"
    "  130  interrupted";

/// The command as far as it was understood, as in "vexosharing create".
std::string Called(const CLI::App& app) {
  const auto called = app.get_subcommands();
  return app.get_name() + (called.empty() ? "" : " " + called.front()->get_name());
}

/// What is wrong with the call.  Values are not repeated: one may be a password.
std::string Mistake(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> surplus = app.remaining(true);
  for (const std::string& argument : surplus) {
    if (argument.rfind('-', 0) == 0) {
      return argument.substr(0, argument.find('=')) + " is no option";
    }
    if (app.get_subcommands().empty()) return "\"" + argument + "\" is no subcommand";
  }
  if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
    return command::Counted(static_cast<long>(surplus.size()), "argument") + " too many";
  }
  // An option takes one value and a flag none.  The parser says so less clearly.
  const std::string text = error.what();
  const size_t name = std::min(text.find("--"), text.size());
  const std::string option = text.substr(name, text.find_first_of(" :", name) - name);
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    return option + " takes one value, once";
  }
  if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr) {
    return option + " takes no value";
  }
  return text;
}

/// The arguments in the order that the parser takes them, from the last to the first.
/// The parser would take the argument after "--name=" for its value: an empty one is put
/// there.
std::vector<std::string> Arguments(int argc, char** argv) {
  const std::vector<std::string> given(argv + 1, argv + argc);
  const auto options_end = std::find(given.begin(), given.end(), "--");
  std::vector<std::string> arguments;
  for (auto at = given.end(); at != given.begin();) {
    const std::string argument = *--at;
    const bool empty_value = at < options_end && argument.rfind("--", 0) == 0 &&
                             argument.find('=') == argument.size() - 1;
    if (empty_value) arguments.emplace_back();
    arguments.push_back(empty_value ? argument.substr(0, argument.size() - 1) : argument);
  }
  return arguments;
}

Outcome Run(int argc, char** argv) {
  CLI::App app("Manages the sharing links of this machine.", "vexosharing");
  app.formatter(std::make_shared<command::HelpFormat>());
  app.set_help_flag("-h,--help", "show this help");
  app.require_subcommand(1);
  app.footer(kFooter);
  command::Work work;
  command::AddCreate(app, work);
  command::AddList(app, work);
  command::AddShow(app, work);
  command::AddEdit(app, work);
  command::AddDelete(app, work);
  command::AddRevoke(app, work);
  command::AddTransfer(app, work);
  command::AddPurge(app, work);
  command::AddVisit(app, work);
  command::AddCheck(app, work);
  command::AddBackup(app, work);
  command::AddExport(app, work);
  command::AddImport(app, work);
  command::AddBlock(app, work);
  command::AddStats(app, work);
  try {
    app.parse(Arguments(argc, argv));
  } catch (const CLI::Success& help) {
    app.exit(help);
    return command::kDone;
  } catch (const CLI::ParseError& error) {
    return command::End(command::kWrongCall,
                        Mistake(app, error) + "; see " + Called(app) + " --help");
  }
  return command::MayUseDatabase() ? work() : command::kNotUsable;
}

}  // namespace

int main(int argc, char** argv) {
  tools::OccupyStandardStreams();
  command::CatchInterrupt();
  std::setlocale(LC_CTYPE, "C.UTF-8");  // texts are UTF-8 whatever the caller's locale
  Outcome outcome = Run(argc, argv);
  if (outcome != command::kDone && command::Interrupted()) {
    outcome = command::kInterrupted;
  }
  return command::CloseOutput(outcome);
}
