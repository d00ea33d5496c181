#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "admin/link_admin.h"
#include "cli/options.h"
#include "cli/report.h"

namespace command {

/// Filters of links, as they are given.
struct FilterOptions {
  admin::LinkFilter filter;  // without an owner
  std::string owner;

  bool empty() const { return owner.empty() && filter.empty(); }
};

/// Adds --project, --owner, --state and --search, or the same behind another `prefix`.
void AddFilters(CLI::App& command, FilterOptions& options, const std::string& prefix);

/// The filter with the owner looked up.
admin::Error ParseFilter(const FilterOptions& options, admin::LinkFilter& filter);

/// The links that a subcommand changes: named one by one, or by filters.
struct Selection {
  CommonOptions common;
  std::vector<std::string> hashes;
  FilterOptions filter;
  bool dry_run = false;
  bool yes = false;
};

/// Adds HASH..., the filters behind `prefix`, --dry-run, --yes and the common options.
void AddSelection(CLI::App& command, Selection& selection, const std::string& prefix);

/// The change of one link.
struct LinkChange {
  Json::Value json{Json::objectValue};
  std::string text;  // printed after the hash
  /// Undoes the change when the output is lost, and returns a message with what was done;
  /// may be empty.
  std::function<std::string()> undo;
};

using LinkAction = std::function<admin::Error(
    admin::LinkAdmin& links, const std::string& hash, LinkChange& change)>;

/// Runs the action on one selected link after the other.  A link that fails is reported
/// and the others follow.  `verb` names the action, as in "delete".
ExitCode ForEachLink(const Selection& selection, const std::string& verb,
                     const LinkAction& action);

}  // namespace command
