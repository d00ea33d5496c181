#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "outcome.h"

namespace command {

/// What a call asks for.
using Work = std::function<Outcome()>;

// Each adds one subcommand to the program.  When it is the one that was called, `work`
// receives what is to be done.

void AddCreate(CLI::App& app, Work& work);
void AddList(CLI::App& app, Work& work);
void AddShow(CLI::App& app, Work& work);
void AddEdit(CLI::App& app, Work& work);
void AddDelete(CLI::App& app, Work& work);
void AddRevoke(CLI::App& app, Work& work);
void AddTransfer(CLI::App& app, Work& work);
void AddPurge(CLI::App& app, Work& work);
void AddVisit(CLI::App& app, Work& work);
void AddCheck(CLI::App& app, Work& work);
void AddBackup(CLI::App& app, Work& work);
void AddExport(CLI::App& app, Work& work);
void AddImport(CLI::App& app, Work& work);
void AddBlock(CLI::App& app, Work& work);
void AddStats(CLI::App& app, Work& work);

}  // namespace command
