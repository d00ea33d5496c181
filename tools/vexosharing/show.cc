#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "admission.h"
#include "commands.h"
#include "database.h"
#include "json.h"
#include "link_json.h"
#include "links.h"
#include "moment.h"
#include "options.h"
#include "state_text.h"
#include "statements.h"
#include "table.h"
#include "text.h"
#include "utils.h"

namespace command {

namespace {

struct Options {
  CommonOptions common;
  std::string hash;
};

/// What is told of a link beyond its record.
struct LinkDetails {
  std::string url;
  long tokens = 0;  // alive
  std::vector<std::string> unresolved_users;
  std::vector<std::string> unresolved_groups;
};

bool CountLiveTokens(BaseDB& db, const Entry& link, long now, long& count) {
  return tools::SelectNumber(db,
                             "SELECT COUNT(*) AS n FROM token WHERE entry_id = " +
                                 std::to_string(link.get_id()) + " AND timeout > " +
                                 std::to_string(now),
                             count);
}

std::string OwnerLine(const Entry& link) {
  const std::string number = std::to_string(link.get_owner_uid());
  const std::string name = link.get_owner_user();
  return name.empty() ? "user " + number + ", who does not exist any more"
                      : name + " (" + number + ")";
}

std::string ProtectionLine(const Entry& link) {
  if (link.get_protect_type() == Entry::PROTECT_USER) return "users and groups";
  if (link.get_protect_type() == Entry::PROTECT_NONE) return "none: whoever has the URL";
  return link.get_protect_password_algo() == Entry::ENCRYPT_ALGO_MD5
             ? "password, stored as plain MD5: set a new one"
             : "password";
}

std::string RedirectLine(const Entry& link) {
  const std::string uri = link.get_redirect_uri();
  if (link.get_redirect_type() == Entry::REDIRECT_NONE) {
    return uri.empty() ? "none" : "none, so not to " + uri;
  }
  const std::string when = link.get_redirect_type() == Entry::REDIRECT_URLPARAM
                               ? "by URL parameter, "
                               : "always, ";
  return when + (uri.empty() ? "to no URI yet" : "to " + uri);
}

void AddNames(Sheet& sheet, const std::string& heading,
              const std::vector<std::string>& names, Style style) {
  if (!names.empty()) sheet.Add(heading, Join(names), style);
}

void PrintSheet(const Entry& link, const LinkDetails& details, long now) {
  const LinkState state = tools::StateOf(link, now);
  Sheet sheet;
  sheet.Add("Hash", link.get_hash());
  if (!details.url.empty()) sheet.Add("URL", details.url);
  sheet.Add("State", StateText(link, now), StateStyle(state));
  sheet.Add("Project", link.get_project_name());
  sheet.Add("Owner", OwnerLine(link),
            link.get_owner_user().empty() ? Style::kBad : Style::kPlain);
  sheet.Add("Starts",
            link.get_start_at() == 0 ? "at once" : MomentText(link.get_start_at()));
  sheet.Add("Expires", MomentText(link.get_expire_at()));
  sheet.Add("Uses",
            UsesText(link, " of ") + (link.get_expire_times() == 0 ? ", no limit" : ""));
  sheet.Add("Protection", ProtectionLine(link));
  if (link.get_protect_type() == Entry::PROTECT_USER) {
    AddNames(sheet, "Users", link.get_protect_users(), Style::kPlain);
    AddNames(sheet, "Groups", link.get_protect_groups(), Style::kPlain);
  }
  AddNames(sheet, "Unknown users", details.unresolved_users, Style::kWarning);
  AddNames(sheet, "Unknown groups", details.unresolved_groups, Style::kWarning);
  sheet.Add("Address",
            link.get_enable_match_ip() ? "must stay that of the login" : "may change");
  sheet.Add("Tokens alive", std::to_string(details.tokens));
  sheet.Add("When past", link.get_auto_gc() ? "the purge deletes it" : "kept");
  if (!link.get_protect_title().empty()) sheet.Add("Title", link.get_protect_title());
  sheet.Add("Redirect", RedirectLine(link));
  sheet.Add("App data", JsonText(link.get_app()));
  sheet.Add("Private data", JsonText(link.get_private_data()));
}

void PrintObject(const Entry& link, const LinkDetails& details, long now) {
  Json::Value out = tools::LinkJson(link, now);
  out["url"] = details.url.empty() ? Json::Value() : Json::Value(details.url);
  out["usable"] = tools::StateOf(link, now) == LinkState::kUsable;
  out["owner_exists"] = !link.get_owner_user().empty();
  out["tokens_alive"] = Json::Value::Int64{details.tokens};
  out["unresolved_users"] = tools::JsonArray(details.unresolved_users);
  out["unresolved_groups"] = tools::JsonArray(details.unresolved_groups);
  out[VEXO::sharing::SZK_PRIVATE_DATA] = link.get_private_data();
  PrintJson(out);
}

Outcome Show(const Options& options) {
  const std::unique_ptr<SharingDB> db = OpenDatabase(options.common.database);
  if (db == nullptr) return kNotUsable;
  Entry link;
  Outcome outcome = kDone;
  if (!FindReadableLink(*db, options.hash, link, outcome)) return outcome;
  const long now = time(nullptr);
  LinkDetails details;
  if (!CountLiveTokens(*db, link, now, details.tokens)) return DatabaseFailed(*db);
  details.url = LinkUrl(link.get_hash());
  details.unresolved_users = tools::UnresolvedUsers(link);
  details.unresolved_groups = tools::UnresolvedGroups(link);
  if (options.common.json) {
    PrintObject(link, details, now);
  } else {
    PrintSheet(link, details, now);
  }
  return kDone;
}

}  // namespace

void AddShow(CLI::App& app, Work& work) {
  const auto options = std::make_shared<Options>();
  CLI::App& command = AddCommand(app, "show", "Shows everything of one link but secrets.",
                                 "vexosharing show xK3fQ9aZb");
  command.add_option("HASH", options->hash, "the link")->required();
  AddCommon(command, options->common);
  command.callback([options, &work] { work = [options] { return Show(*options); }; });
}

}  // namespace command
