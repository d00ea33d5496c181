#include "subcommands/table.h"

namespace command {

namespace {

struct Options : CommonOptions {
  std::string from;
  std::string to;
};

ExitCode Transfer(const Options& options) {
  std::optional<unsigned int> from;
  std::optional<unsigned int> to;
  Error error = admin::FindOwner(options.from, false, from);
  if (!error) error = admin::FindOwner(options.to, true, to);
  if (error) return Fail(error);
  if (from == to) return Fail(kUsageError, "--from and --to are the same user");
  admin::DatabaseAccess access;
  error = access.Open(options.database, Access::kWrite);
  if (error) return Fail(error);
  long count = 0;
  error = admin::LinkAdmin(access.database(), Interrupted).Transfer(*from, *to, count);
  if (error) return Fail(error);
  if (options.json) {
    PrintJson(JsonObject(
        {{"from_uid", *from}, {"to_uid", *to}, {"links", Json::Int64{count}}}));
  } else if (count > 0) {
    std::cout << "Transferred " << Counted(count, "link") << " from " << UserText(*from)
              << " to " << UserText(*to) << ".\n";
  }
  return count > 0 ? kSuccess : Fail(kRefused, "no links owned by " + UserText(*from));
}

}  // namespace

Action AddTransfer(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  AddValue(command, "--from", options->from, "USER", NotEmpty(),
           "present owner; a deleted user is named by number")
      ->required();
  AddValue(command, "--to", options->to, "USER", NotEmpty(), "new owner")->required();
  AddCommon(command, *options);
  return [options] { return Transfer(*options); };
}

}  // namespace command
