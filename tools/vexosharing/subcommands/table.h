#pragma once

// The table of subcommands, and what most of them use.

#include <CLI/CLI.hpp>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "admin/database_access.h"
#include "admin/json_text.h"
#include "cli/interrupt.h"
#include "cli/link_text.h"
#include "cli/options.h"
#include "cli/report.h"
#include "terminal/table.h"
#include "terminal/text.h"

namespace command {

using admin::Access;
using admin::Error;

/// Runs the subcommand after its command line has been parsed.
using Action = std::function<ExitCode()>;

struct Subcommand {
  const char* name;
  std::string description;  // its first line is the summary
  const char* example;
  /// Adds the options to the command and returns what it does.
  Action (*add)(CLI::App& command);
};

/// Every subcommand, in the order of the help.
const std::vector<Subcommand>& Subcommands();

/// Adds a subcommand to the program or to another subcommand.  It stores its action in
/// `action` when it is called.
void AddSubcommand(CLI::App& parent, const Subcommand& subcommand, Action& action);

/// A function to be called with the progress of an operation, which it shows until it is
/// destroyed.  It returns false once the program was interrupted.
std::function<bool(long done, long total)> ShowProgress(const std::string& what);

Action AddBackup(CLI::App& command);
Action AddBlock(CLI::App& command);
Action AddCheck(CLI::App& command);
Action AddCreate(CLI::App& command);
Action AddDelete(CLI::App& command);
Action AddEdit(CLI::App& command);
Action AddExport(CLI::App& command);
Action AddHelp(CLI::App& command);
Action AddImport(CLI::App& command);
Action AddList(CLI::App& command);
Action AddPurge(CLI::App& command);
Action AddRestore(CLI::App& command);
Action AddRevoke(CLI::App& command);
Action AddRotate(CLI::App& command);
Action AddShare(CLI::App& command);
Action AddShow(CLI::App& command);
Action AddStats(CLI::App& command);
Action AddTransfer(CLI::App& command);
Action AddVisit(CLI::App& command);

}  // namespace command
