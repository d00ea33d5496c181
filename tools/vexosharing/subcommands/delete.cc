#include <memory>
#include <string>

#include "cli/selection.h"
#include "subcommands/table.h"
#include "terminal/text.h"

namespace command {

namespace {

using Operation = admin::Error (admin::LinkAdmin::*)(const std::string& hash,
                                                     long& revoked);

void Add(CLI::App& command, Action& action, const std::string& verb,
         const std::string& done, Operation operation) {
  const auto selection = std::make_shared<Selection>();
  AddSelection(command, *selection, "--");
  SetAction(command, action, selection, [=](const Selection& given) {
    return ForEachLink(
        given, verb,
        [=](admin::LinkAdmin& links, const std::string& hash, LinkChange& change) {
          long revoked = 0;
          admin::Error error = (links.*operation)(hash, revoked);
          change.json["hash"] = hash;
          change.json["revoked"] = Json::Int64{revoked};
          change.text = done + ", " + Counted(revoked, "token");
          return error;
        });
  });
}

}  // namespace

void AddDelete(CLI::App& command, Action& action) {
  Add(command, action, "delete", "deleted", &admin::LinkAdmin::Delete);
}

void AddRevoke(CLI::App& command, Action& action) {
  Add(command, action, "revoke", "revoked", &admin::LinkAdmin::Revoke);
}

}  // namespace command
