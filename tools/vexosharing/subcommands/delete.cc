#include "cli/selection.h"
#include "subcommands/table.h"

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

}  // namespace

Action AddDelete(CLI::App& command) {
  return AddOperation(command, "delete", &admin::LinkAdmin::Delete);
}

Action AddRevoke(CLI::App& command) {
  return AddOperation(command, "revoke", &admin::LinkAdmin::Revoke);
}

}  // namespace command
