#include "cli/link_options.h"

#include <cerrno>
#include <cstring>

#include "admin/json_text.h"
#include "cli/argument_file.h"
#include "cli/options.h"
#include "cli/report.h"
#include "cli/secret_input.h"

namespace command {

namespace {

using admin::Entry;

CLI::Option* AddNames(CLI::App& command, const std::string& name,
                      std::optional<std::vector<std::string>>& names,
                      const std::string& description) {
  return command
      .add_option_function<std::vector<std::string>>(
          name, [&names](const std::vector<std::string>& given) { names = given; },
          description)
      ->transform(Utf8())
      ->type_name("NAME")
      ->allow_extra_args(false);
}

/// Parses the value of an option, of a file or of standard input.
bool ReadObject(const std::string& option, const std::optional<std::string>& value,
                std::optional<Json::Value>& setting) {
  if (!value) return true;
  std::string text = *value;
  std::string reason;
  if (!ReadArgumentFile(text, reason)) {
    ReportError(option + ": " + reason);
    return false;
  }
  Json::Value object;
  if (admin::ParseJsonObject(text, object, reason)) {
    setting = object;
    return true;
  }
  ReportError(option + ": not a JSON object such as {\"path\":\"/photo\"}: " + reason);
  return false;
}

bool ReadsInput(const std::optional<std::string>& value) { return value == "@-"; }

void AddProtectionOptions(CLI::App& command, LinkOptions& options) {
  CLI::Option* const from_input = command.add_flag(
      "--password-stdin", options.password_stdin, "read a password from standard input");
  CLI::Option* const from_file = command
                                     .add_option("--password-file", options.password_file,
                                                 "read a password from the file")
                                     ->type_name("FILE");
  CLI::Option* const generated =
      command.add_flag("--generate-password", options.generate_password,
                       "generate a password and print it");
  from_input->group(kProtectionGroup)->excludes(from_file)->excludes(generated);
  from_file->group(kProtectionGroup)->excludes(generated);
  generated->group(kProtectionGroup);
  for (CLI::Option* const names : {AddNames(command, "--user", options.settings.users,
                                            "allow this user; can be repeated"),
                                   AddNames(command, "--group", options.settings.groups,
                                            "allow this group; can be repeated")}) {
    names->group(kProtectionGroup);
    names->excludes(from_input)->excludes(from_file)->excludes(generated);
  }
}

}  // namespace

const char* const kProtectionGroup =
    "Protection (a password, or users and groups of this machine)";

void AddLinkOptions(CLI::App& command, LinkOptions& options) {
  command
      .add_option("--project", options.settings.project,
                  "application the link belongs to")
      ->transform(NotEmpty())
      ->type_name("NAME");
  command.add_option("--owner", options.settings.owner, "owner of the link")
      ->transform(NotEmpty())
      ->type_name("USER");
  command
      .add_option("--app", options.app, "data of the application, visible to visitors")
      ->type_name("JSON");
  command
      .add_option("--private-data", options.private_data,
                  "data of the application, hidden from visitors")
      ->type_name("JSON");
  command
      .add_option("--start", options.settings.start_at,
                  "time from which the link can be used")
      ->transform(Date())
      ->type_name("WHEN");
  command
      .add_option("--expire", options.settings.expire_at,
                  "time at which the link expires")
      ->transform(Date())
      ->type_name("WHEN");
  command
      .add_option("--uses", options.settings.expire_times,
                  "maximum number of logins; 0 means no limit")
      ->transform(WholeNumber())
      ->type_name("N");
  AddSwitch(command, "--no-match-ip", options.settings.match_ip, false,
            "visitors may change their IP address");
  command.add_option("--title", options.settings.title, "title shown on the login page")
      ->transform(Utf8())
      ->type_name("TEXT");
  command
      .add_option_function<std::string>(
          "--redirect-type",
          [&options](const std::string& word) {
            Entry::RedirectType type = Entry::REDIRECT_NONE;
            admin::ParseRedirectType(word, type);
            options.settings.redirect_type = type;
          },
          "none, url_param or always")
      ->check(OneOf({"none", "url_param", "always"}))
      ->type_name("TYPE");
  command
      .add_option("--redirect-uri", options.settings.redirect_uri,
                  "where the application redirects visitors")
      ->transform(Utf8())
      ->type_name("URI");
  AddSwitch(command, "--keep", options.settings.auto_gc, false,
            "keep the link unless purge has --owner or --all");
  AddProtectionOptions(command, options);
}

ExitCode ReadInputs(LinkOptions& options) {
  if (options.password_stdin + ReadsInput(options.app) +
          ReadsInput(options.private_data) >
      1) {
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

}  // namespace command
