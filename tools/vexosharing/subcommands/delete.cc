#include "cli/selection.h"
#include "subcommands/table.h"
#include "terminal/terminal.h"

namespace command {

namespace {

using Operation = Error (admin::LinkAdmin::*)(const std::string& hash, long& revoked);

Action AddOperation(CLI::App& command, const std::string& verb, Operation operation) {
  const auto selection = std::make_shared<Selection>();
  AddSelection(command, *selection, "--");
  const auto run = [=](admin::LinkAdmin& links, const std::string& hash,
                       LinkChange& change) {
    long revoked = 0;
    Error error = (links.*operation)(hash, revoked);
    change.json = JsonObject({{"hash", hash}, {"revoked", Json::Int64{revoked}}});
    change.text = verb + "d, " + Counted(revoked, "token");
    return error;
  };
  return [=] { return ForEachLink(*selection, verb, run); };
}

struct PurgeOptions : CommonOptions {
  std::string owner;
  admin::PurgeScope scope;
};

ExitCode Purge(PurgeOptions& options) {
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
    const long steps = scope.sessions ? 3 : 1;
    Progress progress("purging, step");
    error = admin::LinkAdmin(access.database(), Interrupted)
                .Purge(scope, counts, [&](long step) { progress.ShowNow(step, steps); });
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

Action AddDelete(CLI::App& command) {
  return AddOperation(command, "delete", &admin::LinkAdmin::Delete);
}

Action AddRevoke(CLI::App& command) {
  return AddOperation(command, "revoke", &admin::LinkAdmin::Revoke);
}

Action AddPurge(CLI::App& command) {
  const auto options = std::make_shared<PurgeOptions>();
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
