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
#include "cli/link_text.h"
#include "cli/options.h"
#include "cli/report.h"
#include "terminal/table.h"
#include "terminal/text.h"

namespace command {

using admin::Access;
using admin::Error;
using admin::JsonObject;

/// Runs the subcommand after its command line has been parsed.
using Action = std::function<ExitCode()>;

/// Adds the options of a subcommand to its command and returns what it does.
using AddFunction = Action(CLI::App& command);

struct Subcommand {
  const char* name;
  std::string description;  // its first line is the summary
  const char* example;
  AddFunction* add;
};

/// Every subcommand, in the order of the help.
const std::vector<Subcommand>& Subcommands();

/// Adds a subcommand to the program or to another subcommand.  It stores its action in
/// `action` when it is called.
void AddSubcommand(CLI::App& parent, const Subcommand& subcommand, Action& action);

/// A function to be called with the progress of an operation, which it shows until it is
/// destroyed.  It returns false once the program was interrupted.
std::function<bool(long done, long total)> ShowProgress(const std::string& what);

AddFunction AddBackup, AddBlock, AddCheck, AddCreate, AddDelete, AddEdit, AddExport,
    AddHelp, AddImport, AddList, AddLog, AddPurge, AddRestore, AddRevoke, AddRotate,
    AddShare, AddShow, AddStats, AddTransfer, AddVisit;

}  // namespace command
