#include <iostream>
#include <memory>
#include <string>

#include "account.h"
#include "commands.h"
#include "database.h"
#include "interrupt.h"
#include "json.h"
#include "options.h"
#include "statements.h"
#include "text.h"

namespace command {

namespace {

struct Options {
  CommonOptions common;
  std::string from;
  std::string to;
};

Outcome Transfer(const Options& options) {
  unsigned int from = 0;
  unsigned int to = 0;
  if (!FindOwner(options.from, from) || !FindExistingOwner(options.to, to))
    return kRefused;
  if (from == to) return End(kWrongCall, "both are the same user");
  const std::unique_ptr<SharingDB> db = OpenDatabase(options.common.database);
  if (db == nullptr) return kNotUsable;

  tools::Transaction change(*db);
  if (Interrupted()) return End(kInterrupted, "interrupted: nothing was changed");
  if (!change.good()) return DatabaseFailed(*db);
  long count = 0;
  if (!db->Execute("UPDATE entry SET owner_uid = " + std::to_string(to) +
                   " WHERE owner_uid = " + std::to_string(from)) ||
      !tools::CountChanges(*db, count) || !change.Commit()) {
    return DatabaseFailed(*db);
  }
  if (options.common.json) {
    Json::Value out(Json::objectValue);
    out["from_uid"] = from;
    out["to_uid"] = to;
    out["links"] = Json::Value::Int64{count};
    PrintJson(out);
  } else if (count > 0) {
    std::cout << "Handed " << Counted(count, "link") << " from " << OwnerText(from)
              << " to " << OwnerText(to) << ".\n";
  }
  return count > 0 ? kDone : End(kRefused, OwnerText(from) + " owns no link");
}

}  // namespace

void AddTransfer(CLI::App& app, Work& work) {
  const auto options = std::make_shared<Options>();
  CLI::App& command =
      AddCommand(app, "transfer", "Hands the links of one user to another.",
                 "vexosharing transfer --from bob --to alice");
  command
      .add_option("--from", options->from, "owner until now; by number when he is gone")
      ->transform(NotEmpty())
      ->type_name("USER")
      ->required();
  command.add_option("--to", options->to, "owner from now on")
      ->transform(NotEmpty())
      ->type_name("USER")
      ->required();
  AddCommon(command, options->common);
  command.callback([options, &work] { work = [options] { return Transfer(*options); }; });
}

}  // namespace command
