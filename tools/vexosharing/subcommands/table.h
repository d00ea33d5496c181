#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cli/report.h"

namespace command {

/// Runs the subcommand after its command line has been parsed.
using Action = std::function<ExitCode()>;

struct Subcommand {
  const char* name;
  std::string description;  // its first line is the summary
  const char* example;
  /// Adds the options to `command`; its callback stores what to do in `action`.
  void (*add)(CLI::App& command, Action& action);
};

/// Every subcommand, in the order of the help.
const std::vector<Subcommand>& Subcommands();

/// Adds one subcommand to the program or to another subcommand.
void AddSubcommand(CLI::App& parent, const Subcommand& subcommand, Action& action);

/// Makes `run(*options)` the action of the subcommand.
template <class Options, class Run>
void SetAction(CLI::App& command, Action& action, std::shared_ptr<Options> options,
               Run run) {
  command.callback([=, &action] { action = [=] { return run(*options); }; });
}

void AddBackup(CLI::App& command, Action& action);
void AddBlock(CLI::App& command, Action& action);
void AddCheck(CLI::App& command, Action& action);
void AddCreate(CLI::App& command, Action& action);
void AddDelete(CLI::App& command, Action& action);
void AddEdit(CLI::App& command, Action& action);
void AddExport(CLI::App& command, Action& action);
void AddHelp(CLI::App& command, Action& action);
void AddImport(CLI::App& command, Action& action);
void AddList(CLI::App& command, Action& action);
void AddPurge(CLI::App& command, Action& action);
void AddRestore(CLI::App& command, Action& action);
void AddRevoke(CLI::App& command, Action& action);
void AddRotate(CLI::App& command, Action& action);
void AddShow(CLI::App& command, Action& action);
void AddStats(CLI::App& command, Action& action);
void AddTransfer(CLI::App& command, Action& action);
void AddVisit(CLI::App& command, Action& action);

}  // namespace command
