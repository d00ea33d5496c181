#pragma once

#include <CLI/CLI.hpp>

#include "outcome.h"

namespace command {

// Each adds one subcommand to the program.  When it is the one that was called, `outcome`
// receives how it ended.

void AddCreate(CLI::App& app, Outcome& outcome);
void AddList(CLI::App& app, Outcome& outcome);
void AddShow(CLI::App& app, Outcome& outcome);
void AddEdit(CLI::App& app, Outcome& outcome);
void AddDelete(CLI::App& app, Outcome& outcome);
void AddRevoke(CLI::App& app, Outcome& outcome);
void AddTransfer(CLI::App& app, Outcome& outcome);
void AddPurge(CLI::App& app, Outcome& outcome);
void AddVisit(CLI::App& app, Outcome& outcome);
void AddCheck(CLI::App& app, Outcome& outcome);
void AddBackup(CLI::App& app, Outcome& outcome);
void AddExport(CLI::App& app, Outcome& outcome);
void AddImport(CLI::App& app, Outcome& outcome);
void AddBlock(CLI::App& app, Outcome& outcome);
void AddStats(CLI::App& app, Outcome& outcome);

}  // namespace command
