#include "cli/link_options.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "admin/json_text.h"
#include "cli/input.h"
#include "cli/options.h"
#include "cli/report.h"

namespace command {

namespace {

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
      command
          .add_option("--password-file", options.password_file,
                      "read a password from the file")
          ->type_name("FILE"),
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

}  // namespace

const char* const kProtectionGroup =
    "Protection (a password, or users and groups of this machine)";

void AddLinkOptions(CLI::App& command, LinkOptions& options) {
  admin::LinkSettings& settings = options.settings;
  AddValue(command, "--project", settings.project, "NAME", NotEmpty(),
           "application the link belongs to");
  AddValue(command, "--owner", settings.owner, "USER", NotEmpty(), "owner of the link");
  command
      .add_option("--app", options.app, "data of the application, visible to visitors")
      ->type_name("JSON");
  command
      .add_option("--private-data", options.private_data,
                  "data of the application, hidden from visitors")
      ->type_name("JSON");
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

}  // namespace command
