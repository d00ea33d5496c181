#include "subcommands/table.h"

namespace command {

Action AddHelp(CLI::App& command) {
  const auto names = std::make_shared<std::vector<std::string>>();
  command.add_option("SUBCOMMAND", *names, "subcommand (default: all of them)");
  // While the command line is parsed, as --help: neither root nor a database is needed.
  command.callback([names, &command] {
    const CLI::App* shown = command.get_parent();
    std::string path = shown->get_name();
    for (const std::string& name : *names) {
      const auto found = shown->get_subcommands(
          [&name](const CLI::App* app) { return app->get_name() == name; });
      if (found.empty()) throw CLI::ValidationError("unknown subcommand: " + name);
      shown = found.front();
      path += " " + name;
    }
    std::cout << shown->get_formatter()->make_help(shown, path,
                                                   CLI::AppFormatMode::Normal);
    throw CLI::Success();
  });
  return nullptr;
}

}  // namespace command
