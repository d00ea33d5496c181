#include "cli/selection.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <iostream>

#include "admin/database_access.h"
#include "admin/json_text.h"
#include "cli/link_text.h"
#include "cli/report.h"
#include "terminal/text.h"

namespace command {

namespace {

using admin::Error;
using admin::LinkAdmin;

std::vector<std::string> StateNames() {
  std::vector<std::string> names;
  for (const admin::LinkState state : admin::kLinkStates) {
    names.emplace_back(StateName(state));
  }
  return names;
}

/// The links to change.  `filter` is set when filters selected them.
Error SelectHashes(const Selection& selection, admin::BaseDB& database,
                   admin::LinkFilter& filter, std::vector<std::string>& hashes) {
  for (const std::string& hash : selection.hashes) {
    const bool is_new = std::find(hashes.begin(), hashes.end(), hash) == hashes.end();
    if (is_new) hashes.push_back(hash);
  }
  if (!hashes.empty()) return {};
  if (Error error = ParseFilter(selection.filter, filter)) return error;
  admin::LinkReader reader(database, filter.Sql(database, time(nullptr)), "id");
  admin::Entry link;
  while (!Interrupted() && reader.Next(link)) hashes.push_back(link.get_hash());
  ReportUnreadable(reader.unreadable());
  return reader.good() ? Error{} : admin::DatabaseError(database);
}

/// Whether a link that the filter selected still matches it: somebody may have changed it
/// during the question.  An empty filter matches every link.
bool StillMatches(admin::LinkFilter filter, const std::string& hash, LinkAdmin& links) {
  if (filter.empty()) return true;
  long count = 0;
  filter.hash = hash;
  return links.Count(filter, count) || count != 0;
}

/// Asks on a terminal.
bool Confirms(const Selection& selection, const std::string& question) {
  const bool asks = selection.hashes.empty() && !selection.yes && !selection.dry_run &&
                    isatty(STDIN_FILENO) != 0 && isatty(STDERR_FILENO) != 0;
  if (!asks) return true;
  std::cerr << question << " [y/N] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "Y" || answer == "yes";
}

}  // namespace

void AddFilters(CLI::App& command, FilterOptions& options, const std::string& prefix) {
  AddValue(command, prefix + "project", options.filter.project, "NAME", NotEmpty(),
           "only links of this application");
  AddValue(command, prefix + "owner", options.owner, "USER", NotEmpty(),
           "only links of this user, by name or number");
  AddValue(command, prefix + "state", options.filter.state, "STATE", OneOf(StateNames()),
           "only links in this state");
  AddValue(command, prefix + "search", options.filter.search, "TEXT", NotEmpty(),
           "only links with this text in title, path or note");
}

Error ParseFilter(const FilterOptions& options, admin::LinkFilter& filter) {
  filter = options.filter;
  return options.owner.empty() ? Error{}
                               : admin::FindOwner(options.owner, false, filter.owner);
}

void AddSelection(CLI::App& command, Selection& selection, const std::string& prefix) {
  command.add_option("HASH", selection.hashes, "hashes or URLs of links")
      ->transform(HashOrUrl());
  AddFilters(command, selection.filter, prefix);
  command.add_flag("--dry-run", selection.dry_run,
                   "print the selected links without changing them");
  command.add_flag("-y,--yes", selection.yes, "do not ask before filters are applied");
  AddCommon(command, selection.common);
  command.parse_complete_callback([&selection] {
    if (selection.hashes.empty() == selection.filter.empty()) {
      throw CLI::ValidationError("name links either by HASH or by filters");
    }
  });
}

ExitCode ForEachLink(const Selection& selection, const std::string& verb,
                     const LinkAction& action) {
  admin::DatabaseAccess access;
  const auto mode = selection.dry_run ? admin::Access::kRead : admin::Access::kWrite;
  if (Error error = access.Open(selection.common.database, mode)) return Fail(error);
  admin::LinkFilter filter;
  std::vector<std::string> hashes;
  if (Error error = SelectHashes(selection, access.database(), filter, hashes)) {
    return Fail(error);
  }
  if (hashes.empty()) return Fail(kRefused, "no link matches");
  const std::string links = Counted(static_cast<long>(hashes.size()), "link");
  if (!Confirms(selection, verb + " " + links + "?")) {
    return Fail(kRefused, "nothing was changed");
  }
  const std::string of_all = " of " + links + " " + verb + "d";
  LinkAdmin admin(access.database(), Interrupted);
  ExitCode exit_code = kSuccess;
  std::function<std::string()> undo;
  Json::Value out;
  out["items"] = out["missing"] = Json::Value(Json::arrayValue);
  for (const std::string& hash : hashes) {
    if (!StillMatches(filter, hash, admin)) continue;
    LinkChange change;
    change.text = "would " + verb;
    Error error;
    if (selection.dry_run) {
      admin::Entry link;
      bool readable = false;
      error = admin.Find(hash, link, readable);
      change.json["hash"] = hash;
    } else if (!Interrupted()) {
      error = action(admin, hash, change);
    }
    if (Interrupted() && (error || change.json.empty())) {
      exit_code = Fail(kInterrupted,
                       "interrupted: " + std::to_string(out["items"].size()) + of_all);
      break;
    }
    if (error) {
      exit_code = Fail(error);
      if (exit_code == kDatabaseError) break;
      out["missing"].append(hash);
      continue;
    }
    out["items"].append(change.json);
    if (!selection.common.json)
      std::cout << Printable(hash) << ": " << change.text << "\n";
    if (change.undo) undo = change.undo;
  }
  if (selection.common.json) PrintJson(out);
  if (undo && !FlushOutput()) {
    return Fail(kRefused, "cannot write to standard output: " + undo());
  }
  return exit_code;
}

}  // namespace command
