#include <ctime>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "admission.h"
#include "commands.h"
#include "database.h"
#include "entry_db.h"
#include "interrupt.h"
#include "json.h"
#include "link_json.h"
#include "link_options.h"
#include "links.h"
#include "options.h"
#include "output.h"
#include "restore_link.h"
#include "statements.h"
#include "text.h"
#include "token_db.h"

namespace command {

namespace {

using VEXO::sharing::db::TokenDB;

struct Options {
  CommonOptions common;
  std::string hash;
  LinkOptions link;
  bool unprotect = false;
  std::optional<bool> enabled;
};

void Unprotect(Entry& link) {
  link.set_protect_type(Entry::PROTECT_NONE);
  link.set_protect_password("", false, Entry::ENCRYPT_ALGO_DEFAULT);
  link.set_protect_users({});
  link.set_protect_groups({});
}

void Print(const Options& options, const Entry& link, bool revoked, long tokens,
           const Secret& password) {
  if (options.common.json) {
    Json::Value out = tools::LinkJson(link, time(nullptr));
    out["revoked_tokens"] = Json::Value::Int64{tokens};
    if (options.link.generate_password) out["generated_password"] = password.text();
    PrintJson(out);
    return;
  }
  std::cout << "Changed " << Printable(link.get_hash());
  if (revoked) std::cout << ", and revoked " << Counted(tokens, "token");
  std::cout << ".\n";
  if (options.link.generate_password) {
    std::cout << "Password: " << password.text() << "\n";
  }
}

Outcome Edit(const Options& options) {
  Secret password;
  Outcome outcome = ReadPassword(options.link, password);
  if (outcome != kDone) return outcome;
  const std::unique_ptr<SharingDB> db = OpenDatabase(options.common.database);
  if (db == nullptr) return kNotUsable;

  EntryDB links(*db);  // the stores end after the transaction: their end writes
  TokenDB tokens(*db);
  tools::Transaction change(*db);
  if (Interrupted()) return End(kInterrupted, "interrupted: nothing was changed");
  if (!change.good()) return DatabaseFailed(*db);
  Entry link;
  if (!FindReadableLink(*db, options.hash, link, outcome)) return outcome;
  const Entry before = link;
  if (options.unprotect) Unprotect(link);
  if (options.enabled) link.set_enabled(*options.enabled);
  outcome = ApplyOptions(options.link, password, link);
  if (outcome != kDone) return outcome;

  const bool revoked = tools::AdmitsOthers(before, link);
  long revoked_tokens = 0;
  if (!links.Update(link) ||
      (revoked &&
       (!CountTokens(*db, link, revoked_tokens) || !tokens.PurgeByEntry(link))) ||
      !change.Commit()) {
    return DatabaseFailed(*db);
  }
  Print(options, link, revoked, revoked_tokens, password);
  // Nobody knows a password that was not printed, so it must not stay in effect.
  if (options.link.generate_password && !FlushOutput()) {
    Tell(tools::RestoreLink(*db, before, link)
             ? "the change was undone, but tokens stay revoked"
             : "cannot undo the change: set a new password");
  }
  return kDone;
}

/// Whether the call names anything to change.
bool NamesAChange(const CLI::App& command) {
  for (const CLI::Option* const option : command.get_options()) {
    const std::string name = option->get_name();
    if (option->count() > 0 && name != "HASH" && name != "--json" &&
        name != "--database") {
      return true;
    }
  }
  return false;
}

}  // namespace

void AddEdit(CLI::App& app, Work& work) {
  const auto options = std::make_shared<Options>();
  CLI::App& command = AddCommand(
      app, "edit",
      std::string(
          "Changes a link, which keeps its hash.\n"
          "Where others are admitted now, the link's tokens are revoked.  A password\n"
          "takes the place of users and groups, and they that of a password.  --user\n"
          "names all the users from now on, --group all the groups; \"\" clears either\n"
          "list.\n") +
          kDatesHelp,
      "vexosharing edit xK3fQ9aZb --expire 4w --uses 0");
  command.add_option("HASH", options->hash, "the link")->required();
  AddLinkOptions(command, options->link);
  AddSwitch(command, "--match-ip", options->link.match_ip, true,
            "visitors must keep their address")
      ->excludes("--no-match-ip");
  AddSwitch(command, "--no-keep", options->link.keep, false,
            "the general purge may delete it")
      ->excludes("--keep");
  CLI::Option* const enable =
      AddSwitch(command, "--enable", options->enabled, true, "open the link again");
  AddSwitch(command, "--disable", options->enabled, false, "close the link for everybody")
      ->excludes(enable);
  CLI::Option* const unprotect =
      command.add_flag("--unprotect", options->unprotect, "admit whoever has the URL");
  unprotect->group(kProtectionGroup);
  for (const char* const protection : {"--password-stdin", "--password-file",
                                       "--generate-password", "--user", "--group"}) {
    unprotect->excludes(protection);
  }
  AddCommon(command, options->common);
  command.callback([options, &work, &command] {
    work = [options, &command] {
      return NamesAChange(command)
                 ? Edit(*options)
                 : End(kWrongCall,
                       "name at least one thing to change; see vexosharing edit --help");
    };
  });
}

}  // namespace command
