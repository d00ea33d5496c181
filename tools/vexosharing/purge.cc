#include <memory>
#include <string>

#include "account.h"
#include "commands.h"
#include "database.h"
#include "entry_db.h"
#include "interrupt.h"
#include "json.h"
#include "options.h"
#include "progress.h"
#include "session_db.h"
#include "statements.h"
#include "table.h"
#include "text.h"
#include "token_db.h"

namespace command {

namespace {

using VEXO::sharing::UID_ERR;
using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::SessionDB;
using VEXO::sharing::db::TokenDB;

constexpr float kAlways = 1.0F;
constexpr long kSteps = 3;

struct Options {
  CommonOptions common;
  std::string owner;
  std::string project;
  bool all = false;
};

/// Rows that went, by their own deadline or with what they belonged to.
struct Counts {
  long links = 0;
  long sessions = 0;
  long tokens = 0;
};

bool CountAllTokens(BaseDB& db, long& count) {
  return tools::SelectNumber(db, "SELECT COUNT(*) AS n FROM token", count);
}

struct Stores {
  EntryDB links;
  SessionDB sessions;
  TokenDB tokens;
};

/// Deletes one kind after the other until an interrupt; the tokens are not counted.
bool DeletePast(const Options& options, unsigned int owner, BaseDB& db, Stores& stores,
                Counts& gone) {
  // Sessions belong to no owner and to no project.
  const bool links_only = !options.owner.empty() || !options.project.empty();
  Progress progress("purging, step", links_only ? 1 : kSteps);
  progress.ShowNow(1);
  const bool named = options.all || !options.owner.empty();
  if (!(named ? stores.links.PurgeExpiredByOwnerProject(owner, options.project)
              : stores.links.PurgeExpired(kAlways)) ||
      !tools::CountChanges(db, gone.links)) {
    return false;
  }
  if (links_only || Interrupted()) return true;
  progress.ShowNow(2);
  if (!stores.sessions.PurgeExpired(kAlways) || !tools::CountChanges(db, gone.sessions)) {
    return false;
  }
  if (Interrupted()) return true;
  progress.ShowNow(3);
  return stores.tokens.PurgeExpired(kAlways);
}

Outcome PurgeAll(const Options& options, unsigned int owner, BaseDB& db, Counts& gone) {
  Stores stores{EntryDB(db), SessionDB(db), TokenDB(db)};
  tools::Transaction change(db);  // ends before the stores, whose end writes
  long before = 0;
  long after = 0;
  const bool deleted = change.good() && CountAllTokens(db, before) &&
                       DeletePast(options, owner, db, stores, gone);
  if (Interrupted()) return End(kInterrupted, "interrupted: nothing was purged");
  if (!deleted) return DatabaseFailed(db);
  if (!CountAllTokens(db, after) || !change.Commit()) return DatabaseFailed(db);
  gone.tokens = before - after;
  return kDone;
}

Outcome Purge(const Options& options) {
  if (!options.project.empty() && options.owner.empty() && !options.all) {
    return End(
        kWrongCall,
        "that would purge every owner's links of the project: name the --owner, or "
        "say --all");
  }
  unsigned int owner = UID_ERR;
  if (!options.owner.empty() && !FindOwner(options.owner, owner)) return kRefused;
  const std::unique_ptr<SharingDB> db = OpenDatabase(options.common.database);
  if (db == nullptr) return kNotUsable;
  Counts gone;
  const Outcome outcome = PurgeAll(options, owner, *db, gone);
  if (outcome != kDone) return outcome;
  if (options.common.json) {
    Json::Value out(Json::objectValue);
    out["links"] = Json::Value::Int64{gone.links};
    out["sessions"] = Json::Value::Int64{gone.sessions};
    out["tokens"] = Json::Value::Int64{gone.tokens};
    PrintJson(out);
  } else {
    Sheet sheet;
    sheet.Add("Links", std::to_string(gone.links));
    sheet.Add("Sessions", std::to_string(gone.sessions));
    sheet.Add("Tokens", std::to_string(gone.tokens));
  }
  return kDone;
}

}  // namespace

void AddPurge(CLI::App& app, Work& work) {
  const auto options = std::make_shared<Options>();
  CLI::App& command = AddCommand(
      app, "purge",
      "Deletes links, sessions and tokens that are past.\n"
      "It says how many of each went.  Without options these are every owner's,\n"
      "but links made with --keep stay.  With --owner or --project it deletes\n"
      "links and their tokens alone.",
      "vexosharing purge --owner alice --project photos");
  CLI::Option* const owner =
      command
          .add_option("--owner", options->owner, "only links of this user, kept ones too")
          ->transform(NotEmpty())
          ->type_name("USER");
  command.add_option("--project", options->project, "only links of this application")
      ->transform(NotEmpty())
      ->type_name("NAME");
  command.add_flag("--all", options->all, "links of every owner, kept ones too")
      ->excludes(owner);
  AddCommon(command, options->common);
  command.callback([options, &work] { work = [options] { return Purge(*options); }; });
}

}  // namespace command
