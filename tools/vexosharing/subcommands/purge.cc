#include "subcommands/table.h"
#include "terminal/terminal.h"

namespace command {

namespace {

struct Options : CommonOptions {
  std::string owner;
  admin::PurgeScope scope;
};

ExitCode Purge(Options& options) {
  admin::PurgeScope& scope = options.scope;
  // Sessions belong to no owner and to no project.
  scope.sessions = options.owner.empty() && scope.project.empty();
  scope.tokens = scope.sessions;
  if (!scope.project.empty() && options.owner.empty() && !scope.every_owner) {
    return Fail(kUsageError, "--project requires --owner or --all");
  }
  Error error;
  if (!options.owner.empty()) error = admin::FindOwner(options.owner, false, scope.owner);
  admin::DatabaseAccess access;
  if (!error) error = access.Open(options.database, Access::kWrite);
  if (error) return Fail(error);
  admin::PurgeCounts counts;
  {
    Progress progress("purging, step", scope.sessions ? 3 : 1);
    error = admin::LinkAdmin(access.database(), Interrupted)
                .Purge(scope, counts, [&](long step) { progress.ShowNow(step); });
  }
  if (error) return Fail(error);
  if (options.json) {
    PrintJson(PurgeJson(counts));
    return kSuccess;
  }
  DetailList list;
  list.Add("Links", std::to_string(counts.links));
  list.Add("Sessions", std::to_string(counts.sessions));
  list.Add("Tokens", std::to_string(counts.tokens));
  return kSuccess;
}

}  // namespace

Action AddPurge(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  AddValue(command, "--owner", options->owner, "USER", NotEmpty(),
           "links of this user, including those with --keep");
  AddValue(command, "--project", options->scope.project, "NAME", NotEmpty(),
           "links of this application only");
  command
      .add_flag("--all", options->scope.every_owner,
                "links of all owners, including those with --keep")
      ->excludes("--owner");
  AddCommon(command, *options);
  return [options] { return Purge(*options); };
}

}  // namespace command
