#include "link_options.h"

#include <algorithm>

#include "account.h"
#include "admission.h"
#include "options.h"
#include "strict_json.h"
#include "text.h"

namespace command {

namespace {

Entry::RedirectType RedirectTypeOf(const std::string& word) {
  if (word == "url_param") return Entry::REDIRECT_URLPARAM;
  return word == "always" ? Entry::REDIRECT_ALWAYS : Entry::REDIRECT_NONE;
}

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

Json::Value ParsedObject(const std::string& text) {
  Json::Value value;
  std::string reason;
  tools::ParseStrictObject(text, value, reason);  // checked when the call was read
  return value;
}

/// An empty name alone clears a list.
std::vector<std::string> WithoutEmpty(std::vector<std::string> names) {
  names.erase(std::remove(names.begin(), names.end(), ""), names.end());
  return names;
}

void ApplyProtection(const LinkOptions& options, const Secret& password, Entry& link) {
  if (options.HasPassword()) {
    link.set_protect_type(Entry::PROTECT_PASSWORD);
    link.set_protect_password(password.text(), true, Entry::ENCRYPT_ALGO_DEFAULT);
    link.set_protect_users({});
    link.set_protect_groups({});
  }
  if (options.users || options.groups) {
    link.set_protect_type(Entry::PROTECT_USER);
    link.set_protect_password("", false, Entry::ENCRYPT_ALGO_DEFAULT);
  }
  if (options.users) link.set_protect_users(WithoutEmpty(*options.users));
  if (options.groups) link.set_protect_groups(WithoutEmpty(*options.groups));
}

void TellUnresolved(const std::string& kind, const std::vector<std::string>& names) {
  if (!names.empty()) Tell("there is no " + kind + " yet named " + Join(names));
}

void AddProtectionOptions(CLI::App& command, LinkOptions& options) {
  CLI::Option* const from_input = command.add_flag(
      "--password-stdin", options.password_stdin, "password: first line of the input");
  CLI::Option* const from_file = command
                                     .add_option("--password-file", options.password_file,
                                                 "password: first line of the file")
                                     ->type_name("FILE");
  CLI::Option* const generated = command.add_flag(
      "--generate-password", options.generate_password, "a random password, shown once");
  from_input->group(kProtectionGroup)->excludes(from_file)->excludes(generated);
  from_file->group(kProtectionGroup)->excludes(generated);
  generated->group(kProtectionGroup);
  for (CLI::Option* const names :
       {AddNames(command, "--user", options.users, "admit this user; may be repeated"),
        AddNames(command, "--group", options.groups,
                 "admit this group; may be repeated")}) {
    names->group(kProtectionGroup);
    names->excludes(from_input)->excludes(from_file)->excludes(generated);
  }
}

}  // namespace

const char* const kProtectionGroup =
    "Protection, by a password or by accounts of this machine";

const char* const kDatesHelp =
    "WHEN is now, never, a local date such as 2026-12-31 (its first second) or\n"
    "\"2026-12-31 18:00\", or a span from now: 90s, 15m, 12h, 7d, 4w.";

void AddLinkOptions(CLI::App& command, LinkOptions& options) {
  command.add_option("--project", options.project, "application that owns the link")
      ->transform(NotEmpty())
      ->type_name("NAME");
  command.add_option("--owner", options.owner, "user who owns the link")
      ->transform(NotEmpty())
      ->type_name("USER");
  command.add_option("--app", options.app, "the application's data, shown to visitors")
      ->transform(JsonObject())
      ->type_name("JSON");
  command
      .add_option("--private-data", options.private_data, "its data not shown to them")
      ->transform(JsonObject())
      ->type_name("JSON");
  command.add_option("--start", options.start, "usable from then on; never: at once")
      ->transform(Moment())
      ->type_name("WHEN");
  command.add_option("--expire", options.expire, "usable until then; never: without end")
      ->transform(Moment())
      ->type_name("WHEN");
  command.add_option("--uses", options.uses, "most logins; 0: no limit")
      ->transform(WholeNumber())
      ->type_name("N");
  AddSwitch(command, "--no-match-ip", options.match_ip, false,
            "visitors may change their address");
  command.add_option("--title", options.title, "what the login page shows")
      ->transform(Utf8())
      ->type_name("TEXT");
  command
      .add_option("--redirect-type", options.redirect_type, "none, url_param or always")
      ->transform(OneOf({"none", "url_param", "always"}))
      ->type_name("TYPE");
  command
      .add_option("--redirect-uri", options.redirect_uri,
                  "where the application sends visitors")
      ->transform(Utf8())
      ->type_name("URI");
  AddSwitch(command, "--keep", options.keep, true, "not deleted by the general purge");
  AddProtectionOptions(command, options);
}

Outcome ReadPassword(const LinkOptions& options, Secret& password) {
  bool read = true;
  if (options.password_stdin) {
    read = password.ReadInput("password for the link");
  } else if (options.password_file) {
    read = password.ReadFile(*options.password_file);
  } else if (options.generate_password) {
    return password.Generate() ? kDone : kRefused;
  }
  return read ? kDone : kWrongCall;
}

Outcome ApplyOptions(const LinkOptions& options, const Secret& password, Entry& link) {
  if (options.owner) {
    unsigned int uid = 0;
    if (!FindExistingOwner(*options.owner, uid)) return kRefused;
    link.set_owner_uid(uid);
  }
  if (options.project) link.set_project_name(*options.project);
  if (options.app) link.set_app(ParsedObject(*options.app));
  if (options.private_data) link.set_private_data(ParsedObject(*options.private_data));
  if (options.start) link.set_start_at(*options.start);
  if (options.expire) link.set_expire_at(*options.expire);
  if (options.uses) link.set_expire_times(*options.uses);
  ApplyProtection(options, password, link);
  if (options.match_ip) link.set_enable_match_ip(*options.match_ip);
  if (options.title) link.set_protect_title(*options.title);
  if (options.redirect_type) {
    link.set_redirect_type(RedirectTypeOf(*options.redirect_type));
  }
  if (options.redirect_uri) link.set_redirect_uri(*options.redirect_uri);
  if (options.keep) link.set_auto_gc(!*options.keep);

  // What the call does not touch may be as it is: the rest can be changed all the same.
  if ((options.start || options.expire) && link.get_expire_at() != 0 &&
      link.get_start_at() > link.get_expire_at()) {
    return End(kWrongCall, "the link would expire before it starts");
  }
  if (tools::AdmitsNobody(link)) {
    return End(kWrongCall, "the link would admit nobody: name a --user or a --group");
  }
  if (options.users) TellUnresolved("user", tools::UnresolvedUsers(link));
  if (options.groups) TellUnresolved("group", tools::UnresolvedGroups(link));
  return kDone;
}

}  // namespace command
