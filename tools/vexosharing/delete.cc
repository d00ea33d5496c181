#include <memory>

#include "commands.h"
#include "each_link.h"

namespace command {

namespace {

using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::TokenDB;
using VEXO::sharing::record::Entry;

bool Delete(EntryDB& links, TokenDB& /*tokens*/, const Entry& link) {
  return links.Delete(link);  // the tokens go with it
}

}  // namespace

void AddDelete(CLI::App& app, Work& work) {
  const auto options = std::make_shared<EachLinkOptions>();
  CLI::App& command = AddCommand(app, "delete", "Deletes links, with their tokens.",
                                 "vexosharing delete xK3fQ9aZb 8hWmT2pLc");
  AddEachLinkOptions(command, *options);
  command.callback([options, &work] {
    work = [options] { return ForEachLink(*options, "deleted", Delete); };
  });
}

}  // namespace command
