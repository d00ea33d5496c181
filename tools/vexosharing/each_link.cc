#include "each_link.h"

#include <iostream>
#include <memory>

#include "database.h"
#include "interrupt.h"
#include "json.h"
#include "link_json.h"
#include "links.h"
#include "statements.h"
#include "text.h"

namespace command {

namespace {

using VEXO::sharing::db::TokenDB;

/// Runs the action on the link of that hash unless there was an interrupt; kDone with the
/// number of its tokens.
Outcome ApplyTo(BaseDB& db, EntryDB& links, TokenDB& tokens, const std::string& hash,
                LinkAction action, long& count) {
  tools::Transaction change(db);
  if (Interrupted()) return kInterrupted;
  if (!change.good()) return DatabaseFailed(db);
  Entry link;
  bool readable = false;  // one that does not read may go too
  Outcome outcome = kDone;
  if (!FindLink(db, hash, link, readable, outcome)) return outcome;
  if (!CountTokens(db, link, count) || !action(links, tokens, link) || !change.Commit()) {
    return DatabaseFailed(db);
  }
  return kDone;
}

}  // namespace

void AddEachLinkOptions(CLI::App& command, EachLinkOptions& options) {
  command.add_option("HASH", options.hashes, "the links")->required();
  AddCommon(command, options.common);
}

Outcome ForEachLink(const EachLinkOptions& options, const std::string& done,
                    LinkAction action) {
  const std::unique_ptr<SharingDB> db = OpenDatabase(options.common.database);
  if (db == nullptr) return kNotUsable;
  EntryDB links(*db);
  TokenDB tokens(*db);
  Outcome outcome = kDone;
  Json::Value changed(Json::arrayValue);
  std::vector<std::string> missing;
  for (const std::string& hash : options.hashes) {
    long count = 0;
    const Outcome one =
        Interrupted() ? kInterrupted : ApplyTo(*db, links, tokens, hash, action, count);
    if (one == kInterrupted) {
      outcome =
          End(kInterrupted, "interrupted: " + std::to_string(changed.size()) + " of " +
                                Counted(options.hashes.size(), "link") + " " + done);
      break;
    }
    if (one == kDone) {
      Json::Value element(Json::objectValue);
      element[VEXO::sharing::SZK_HASH] = hash;
      element["tokens"] = Json::Value::Int64{count};
      changed.append(element);
      if (!options.common.json) {
        std::cout << Printable(hash) << ": " << done << ", " << Counted(count, "token")
                  << "\n";
      }
      continue;
    }
    outcome = one;
    if (one == kNotUsable) break;
    missing.push_back(hash);
  }
  if (options.common.json) {
    Json::Value out(Json::objectValue);
    out[done] = changed;
    out["missing"] = tools::JsonArray(missing);
    PrintJson(out);
  }
  return outcome;
}

}  // namespace command
