#include <memory>

#include "commands.h"
#include "each_link.h"

namespace command {

namespace {

using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::TokenDB;
using VEXO::sharing::record::Entry;

bool Revoke(EntryDB& /*links*/, TokenDB& tokens, const Entry& link) {
  return tokens.PurgeByEntry(link);
}

}  // namespace

void AddRevoke(CLI::App& app, Work& work) {
  const auto options = std::make_shared<EachLinkOptions>();
  CLI::App& command = AddCommand(
      app, "revoke", "Deletes the tokens of links.\nTheir visitors must log in again.",
      "vexosharing revoke xK3fQ9aZb");
  AddEachLinkOptions(command, *options);
  command.callback([options, &work] {
    work = [options] { return ForEachLink(*options, "revoked", Revoke); };
  });
}

}  // namespace command
