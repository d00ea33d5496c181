#include "cli/link_options.h"
#include "cli/selection.h"
#include "subcommands/table.h"

namespace command {

namespace {

struct Options : Selection {
  LinkOptions link;
};

Error EditLink(const Options& options, admin::LinkUrls& urls, admin::LinkAdmin& links,
               const std::string& hash, LinkChange& change) {
  admin::StoredLink stored;
  if (Error error = links.Edit(hash, options.link.settings, stored)) return error;
  change.json = StoredLinkJson(stored.link, options.link.generated(), urls);
  change.json["revoked"] = Json::Int64{stored.revoked};
  change.text = "changed";
  if (stored.access_changed) {
    change.text += ", revoked " + Counted(stored.revoked, "token");
  }
  if (options.link.generate_password) {
    if (!options.common.json) {
      change.text += "\nPassword: " + options.link.password.text();
    }
    // A password that nobody has seen must not remain.
    change.undo = [&links, stored] { return links.UndoEdit(stored); };
  }
  WarnAboutLink(options.link.settings, stored.link);
  return {};
}

ExitCode Edit(Options& options) {
  if (options.link.generate_password && options.hashes.size() != 1) {
    return Fail(kUsageError, "--generate-password requires exactly one HASH");
  }
  const ExitCode exit_code = ReadInputs(options.link);
  if (exit_code != kSuccess) return exit_code;
  if (options.link.settings.empty()) {
    return Fail(kUsageError, "nothing to change; see vexosharing edit --help");
  }
  admin::LinkUrls urls;
  return ForEachLink(
      options, "change",
      [&](admin::LinkAdmin& links, const std::string& hash, LinkChange& change) {
        return EditLink(options, urls, links, hash, change);
      });
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
