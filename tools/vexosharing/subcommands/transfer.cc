#include <iostream>
#include <memory>
#include <string>

#include "admin/database_access.h"
#include "admin/link_admin.h"
#include "cli/interrupt.h"
#include "cli/link_text.h"
#include "cli/options.h"
#include "cli/report.h"
#include "subcommands/table.h"
#include "terminal/json.h"
#include "terminal/text.h"

namespace command {

namespace {

struct Options {
  CommonOptions common;
  std::string from;
  std::string to;
};

ExitCode Transfer(const Options& options) {
  std::optional<unsigned int> from;
  std::optional<unsigned int> to;
  admin::Error error = admin::FindOwner(options.from, false, from);
  if (!error) error = admin::FindOwner(options.to, true, to);
  if (error) return Fail(error);
  if (from == to) return Fail(kUsageError, "--from and --to are the same user");
  admin::DatabaseAccess access;
  error = access.Open(options.common.database, admin::Access::kWrite);
  if (error) return Fail(error);
  admin::LinkAdmin links(access.database(), Interrupted);
  long count = 0;
  error = links.Transfer(*from, *to, count);
  if (error) return Fail(error);
  if (options.common.json) {
    Json::Value out(Json::objectValue);
    out["from_uid"] = *from;
    out["to_uid"] = *to;
    out["links"] = Json::Int64{count};
    PrintJson(out);
  } else if (count > 0) {
    std::cout << "Transferred " << Counted(count, "link") << " from " << UserText(*from)
              << " to " << UserText(*to) << ".\n";
  }
  return count > 0 ? kSuccess : Fail(kRefused, "no links owned by " + UserText(*from));
}

}  // namespace

void AddTransfer(CLI::App& command, Action& action) {
  const auto options = std::make_shared<Options>();
  command
      .add_option("--from", options->from,
                  "present owner; a deleted user is named by number")
      ->transform(NotEmpty())
      ->type_name("USER")
      ->required();
  command.add_option("--to", options->to, "new owner")
      ->transform(NotEmpty())
      ->type_name("USER")
      ->required();
  AddCommon(command, options->common);
  SetAction(command, action, options, Transfer);
}

}  // namespace command
