#include "cli/link_options.h"
#include "cli/selection.h"
#include "subcommands/table.h"

namespace command {

namespace {

struct Options : Selection {
  LinkOptions link;
};

ExitCode Edit(Options& options) {
  LinkOptions& given = options.link;
  if (given.generate_password && options.hashes.size() != 1) {
    return Fail(kUsageError, "--generate-password requires exactly one HASH");
  }
  const ExitCode exit_code = ReadInputs(given);
  if (exit_code != kSuccess) return exit_code;
  if (given.settings.empty()) {
    return Fail(kUsageError, "nothing to change; see vexosharing edit --help");
  }
  admin::LinkUrls urls;
  const auto edit = [&](admin::LinkAdmin& links, const std::string& hash,
                        LinkChange& change) -> Error {
    admin::StoredLink stored;
    if (Error error = links.Edit(hash, given.settings, stored)) return error;
    change.json = StoredLinkJson(stored.link, given.generated(), urls);
    change.json["revoked"] = Json::Int64{stored.revoked};
    change.text = "changed";
    if (stored.access_changed) {
      change.text += ", revoked " + Counted(stored.revoked, "token");
    }
    if (given.generate_password) {
      if (!options.common.json) change.text += "\nPassword: " + given.password.text();
      // A password that nobody has seen must not remain.
      change.undo = [&links, stored] { return links.UndoEdit(stored); };
    }
    WarnAboutLink(given.settings, stored.link);
    return {};
  };
  return ForEachLink(options, "change", edit);
}

}  // namespace

Action AddEdit(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  AddLinkOptions(command, options->link);
  admin::LinkSettings& settings = options->link.settings;
  AddSwitch(command, "--match-ip", settings.match_ip, true,
            "visitors must keep their IP address")
      ->excludes("--no-match-ip");
  AddSwitch(command, "--no-keep", settings.auto_gc, true,
            "let every purge delete the link")
      ->excludes("--keep");
  CLI::Option* const enable =
      AddSwitch(command, "--enable", settings.enabled, true, "enable the link");
  AddSwitch(command, "--disable", settings.enabled, false, "disable the link")
      ->excludes(enable);
  CLI::Option* const unprotect = command.add_flag(
      "--unprotect", settings.remove_protection, "remove the protection");
  unprotect->group(kProtectionGroup);
  for (const char* const protection : {"--password-stdin", "--password-file",
                                       "--generate-password", "--user", "--group"}) {
    unprotect->excludes(protection);
  }
  AddSelection(command, *options, "--where-");
  return [options] { return Edit(*options); };
}

}  // namespace command
