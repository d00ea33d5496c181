#include "subcommands/create.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "cli/file.h"
#include "cli/selection.h"
#include "subcommands/table.h"
#include "terminal/terminal.h"

namespace command {

namespace {

const char kProtectionGroup[] =
    "Protection (a password, or users and groups of this machine)";

void AddProtectionOptions(CLI::App& command, LinkOptions& options) {
  const auto add_names = [&command](const char* name, auto& names,
                                    const char* description) {
    using Names = std::vector<std::string>;
    // An option of an optional list would take "" for a list without an element.
    return command
        .add_option_function<Names>(
            name, [&names](const Names& given) { names = given; }, description)
        ->transform(Utf8())
        ->type_name("NAME")
        ->allow_extra_args(false);
  };
  CLI::Option* const protections[] = {
      command.add_flag("--password-stdin", options.password_stdin,
                       "read a password from standard input"),
      AddValue(command, "--password-file", options.password_file, "FILE", {},
               "read a password from the file"),
      command.add_flag("--generate-password", options.generate_password,
                       "generate a password and print it"),
      add_names("--user", options.settings.users, "allow this user; can be repeated"),
      add_names("--group", options.settings.groups, "allow this group; can be repeated")};
  constexpr size_t kPasswords = 3;  // each of them excludes all that follow
  for (size_t i = 0; i < std::size(protections); ++i) {
    protections[i]->group(kProtectionGroup);
    for (size_t other = 0; other < std::min(i, kPasswords); ++other) {
      protections[i]->excludes(protections[other]);
    }
  }
}

/// Parses the value of an option, of a file or of standard input.
bool ReadObject(const std::string& option, const std::optional<std::string>& value,
                std::optional<Json::Value>& setting) {
  if (!value) return true;
  std::string text = *value;
  std::string reason;
  if (!ReadArgumentFile(option, text)) return false;
  if (admin::ParseJsonObject(text, setting.emplace(), reason)) return true;
  ReportError(option + ": not a JSON object such as {\"path\":\"/photo\"}: " + reason);
  return false;
}

void AddLinkOptions(CLI::App& command, LinkOptions& options) {
  admin::LinkSettings& settings = options.settings;
  AddValue(command, "--project", settings.project, "NAME", NotEmpty(),
           "application the link belongs to");
  AddValue(command, "--owner", settings.owner, "USER", NotEmpty(), "owner of the link");
  AddValue(command, "--app", options.app, "JSON", {},
           "data of the application, visible to visitors");
  AddValue(command, "--private-data", options.private_data, "JSON", {},
           "data of the application, hidden from visitors");
  AddValue(command, "--start", settings.start_at, "WHEN", Date(),
           "time from which the link can be used");
  AddValue(command, "--expire", settings.expire_at, "WHEN", Date(),
           "time at which the link expires");
  AddValue(command, "--uses", settings.expire_times, "N", WholeNumber(),
           "maximum number of logins; 0 means no limit");
  AddSwitch(command, "--no-match-ip", settings.match_ip, false,
            "visitors may change their IP address");
  AddValue(command, "--title", settings.title, "TEXT", Utf8(),
           "title shown on the login page");
  command
      .add_option_function<std::string>(
          "--redirect-type",
          [&settings](const std::string& word) {
            admin::ParseRedirectType(word, settings.redirect_type.emplace());
          },
          "none, url_param or always")
      ->check(OneOf({"none", "url_param", "always"}))
      ->type_name("TYPE");
  AddValue(command, "--redirect-uri", settings.redirect_uri, "URI", Utf8(),
           "where the application redirects visitors");
  AddSwitch(command, "--keep", settings.auto_gc, false,
            "keep the link unless purge has --owner or --all");
  AddProtectionOptions(command, options);
}

void Print(const CreateOptions& options, const Entry& link) {
  admin::LinkUrls urls;
  const std::string url = UrlText(link, urls);
  if (options.json) {
    PrintJson(StoredLinkJson(link, options.link.generated(), urls));
    return;
  }
  {
    DetailList list;
    list.Add("Hash", link.get_hash());
    list.Add("URL", url);
    if (options.link.generate_password) {
      list.Add("Password", options.link.password.text());
    }
  }
  if (options.qr && (url.empty() || !DrawQrCode(url))) {
    ReportWarning(url.empty() ? "no QR code: the URL is unknown"
                              : "no QR code: the URL is too long");
  }
}

struct EditOptions : Selection {
  LinkOptions link;
};

ExitCode Edit(EditOptions& options) {
  LinkOptions& given = options.link;
  if (given.generate_password && options.hashes.size() != 1) {
    return Fail(kUsageError, "--generate-password requires exactly one HASH");
  }
  if (const ExitCode failure = ReadInputs(given)) return failure;
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

ExitCode ReadInputs(LinkOptions& options) {
  const int readers =
      options.password_stdin + (options.app == "@-") + (options.private_data == "@-");
  if (readers > 1) {
    return Fail(kUsageError,
                "only one of --password-stdin, --app @- and --private-data @- can read "
                "standard input");
  }
  admin::LinkSettings& settings = options.settings;
  if (!ReadObject("--app", options.app, settings.app) ||
      !ReadObject("--private-data", options.private_data, settings.private_data)) {
    return kUsageError;
  }
  admin::Secret& password = options.password;
  if (options.password_stdin && !ReadSecret("password for the link", password)) {
    return kUsageError;
  }
  if (options.password_file && !ReadSecretFile(*options.password_file, password)) {
    return kUsageError;
  }
  if (options.generate_password && !password.Generate()) {
    return Fail(kRefused, std::string("cannot generate a password: ") + strerror(errno));
  }
  if (!password.empty()) settings.password = &password;
  return kSuccess;
}

void AddCreateOptions(CLI::App& command, CreateOptions& options) {
  AddLinkOptions(command, options.link);
  CLI::Option* const qr =
      command.add_flag("--qr", options.qr, "print the URL as a QR code");
  AddCommon(command, options);
  qr->excludes("--json");
}

ExitCode StoreNewLink(const CreateOptions& options) {
  Entry link;
  admin::DatabaseAccess access;
  Error error = NewLink(options.link.settings, link);
  if (!error) error = access.Open(options.database, Access::kCreate);
  if (error) return Fail(error);
  admin::LinkAdmin links(access.database(), Interrupted);
  error = links.Create(link);
  if (error) return Fail(error);
  Print(options, link);
  // A link whose hash or password nobody has seen must not remain.
  if (!FlushOutput()) {
    return Fail(kRefused, "cannot write to standard output: " + links.UndoCreate(link));
  }
  WarnAboutLink(options.link.settings, link);
  return kSuccess;
}

Action AddCreate(CLI::App& command) {
  const auto options = std::make_shared<CreateOptions>();
  AddCreateOptions(command, *options);
  command.get_option("--project")->required();
  command.get_option("--owner")->required();
  return [options] {
    const ExitCode failure = ReadInputs(options->link);
    return failure ? failure : StoreNewLink(*options);
  };
}

Action AddEdit(CLI::App& command) {
  const auto options = std::make_shared<EditOptions>();
  AddLinkOptions(command, options->link);
  admin::LinkSettings& settings = options->link.settings;
  AddSwitch(command, "--match-ip", settings.match_ip, true,
            "visitors must keep their IP address")
      ->excludes("--no-match-ip");
  AddSwitch(command, "--no-keep", settings.auto_gc, true,
            "let every purge delete the link")
      ->excludes("--keep");
  AddSwitch(command, "--enable", settings.enabled, true, "enable the link");
  AddSwitch(command, "--disable", settings.enabled, false, "disable the link")
      ->excludes("--enable");
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
