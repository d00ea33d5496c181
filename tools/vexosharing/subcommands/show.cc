#include <ctime>
#include <optional>

#include "admin/access_log.h"
#include "admin/accounts.h"
#include "cli/date.h"
#include "subcommands/table.h"

namespace command {

namespace {

struct Options : CommonOptions {
  std::string hash;
};

std::string OwnerLine(const Entry& link) {
  const std::string number = std::to_string(link.get_owner_uid());
  const std::string name = link.get_owner_user();
  return name.empty() ? number + " (unknown)" : name + " (" + number + ")";
}

std::string ProtectionLine(const Entry& link) {
  if (link.get_protect_type() == Entry::PROTECT_USER) return "users and groups";
  if (link.get_protect_type() == Entry::PROTECT_NONE) return "none (anyone with the URL)";
  return link.get_protect_password_algo() == Entry::ENCRYPT_ALGO_MD5
             ? "password (stored as plain MD5; set a new one)"
             : "password";
}

std::string RedirectLine(const Entry& link) {
  const std::string uri = link.get_redirect_uri();
  if (link.get_redirect_type() == Entry::REDIRECT_NONE) {
    return uri.empty() ? "none" : "none (unused URI: " + uri + ")";
  }
  const std::string when = link.get_redirect_type() == Entry::REDIRECT_URLPARAM
                               ? "by URL parameter, "
                               : "always, ";
  return when + (uri.empty() ? "no URI set" : "to " + uri);
}

/// What the access log tells of the link.  Nothing for links that the web front end
/// does not serve.
std::optional<admin::VisitSummary> Visits(const Options& options, const Entry& link) {
  const bool recorded = link.get_project_name() == kFilesProject &&
                        options.database == VEXO::sharing::SZF_SHARING_DB_PATH;
  return recorded ? admin::SummarizeVisits(link.get_hash()) : std::nullopt;
}

void PrintDetails(const Entry& link, const std::string& url, long tokens,
                  const std::optional<admin::VisitSummary>& visits) {
  const long now = time(nullptr);
  const LinkState state = admin::StateOf(link, now);
  DetailList list;
  list.Add("Hash", link.get_hash());
  list.Add("URL", url);
  list.Add("State", StateText(link, now), StateStyle(state));
  list.Add("Project", link.get_project_name());
  list.Add("Owner", OwnerLine(link),
           link.get_owner_user().empty() ? Style::kBad : Style::kPlain);
  list.Add("Starts",
           link.get_start_at() == 0 ? "immediately" : DateText(link.get_start_at()));
  list.Add("Expires", DateText(link.get_expire_at()));
  list.Add("Uses",
           UsesText(link, " of ") + (link.get_expire_times() == 0 ? ", no limit" : ""));
  list.Add("Protection", ProtectionLine(link));
  if (link.get_protect_type() == Entry::PROTECT_USER) {
    list.Add("Users", Join(link.get_protect_users()));
    list.Add("Groups", Join(link.get_protect_groups()));
  }
  list.Add("Unknown users", Join(Unresolved(admin::AllowedUsers(link))), Style::kWarning);
  list.Add("Unknown groups", Join(Unresolved(admin::AllowedGroups(link))),
           Style::kWarning);
  list.Add("IP address",
           link.get_enable_match_ip() ? "must stay the same" : "may change");
  list.Add("Valid tokens", std::to_string(tokens));
  if (visits) {
    list.Add("Last opened", DateText(visits->last_opened));
    list.Add("Downloads", std::to_string(visits->downloads));
    if (visits->since != 0) list.Add("Logged since", DateText(visits->since));
  }
  list.Add("Purge", link.get_auto_gc() ? "when expired" : "only with --owner or --all");
  list.Add("Title", link.get_protect_title());
  list.Add("Redirect", RedirectLine(link));
  list.Add("App data", admin::JsonText(link.get_app()));
  list.Add("Private data", admin::JsonText(link.get_private_data()));
}

ExitCode Show(const Options& options) {
  admin::DatabaseAccess access;
  Error error = access.Open(options.database, Access::kRead);
  if (error) return Fail(error);
  admin::LinkAdmin links(access.database());
  Entry link;
  long tokens = 0;
  error = links.Find(options.hash, link);
  if (!error) error = links.CountLiveTokens(link, tokens);
  if (error) return Fail(error);
  admin::LinkUrls urls;
  const std::string url = UrlText(link, urls);
  const std::optional<admin::VisitSummary> visits = Visits(options, link);
  if (options.json) {
    Json::Value out = LinkDetailsJson(link, urls, time(nullptr));
    out["tokens"] = Json::Int64{tokens};
    if (visits) out["visits"] = VisitSummaryJson(*visits);
    PrintJson(out);
  } else {
    PrintDetails(link, url, tokens, visits);
  }
  return kSuccess;
}

void PrintRotated(const Options& options, const admin::StoredLink& stored) {
  admin::LinkUrls urls;
  if (options.json) {
    Json::Value out = LinkDetailsJson(stored.link, urls, time(nullptr));
    out["old_hash"] = options.hash;
    out["revoked"] = Json::Int64{stored.revoked};
    PrintJson(out);
    return;
  }
  DetailList list;
  list.Add("Hash", stored.link.get_hash());
  list.Add("URL", UrlText(stored.link, urls));
  list.Add("Revoked", Counted(stored.revoked, "token"));
}

ExitCode Rotate(const Options& options) {
  admin::DatabaseAccess access;
  if (Error error = access.Open(options.database, Access::kWrite)) return Fail(error);
  admin::StoredLink stored;
  const Error error =
      admin::LinkAdmin(access.database(), Interrupted).Rotate(options.hash, stored);
  if (error) return Fail(error);
  PrintRotated(options, stored);
  if (FlushOutput()) return kSuccess;
  // The old hash does not work any more, so the new one must be known.
  return Fail(kRefused, "cannot write to standard output: the new hash is " +
                            stored.link.get_hash());
}

Action AddForHash(CLI::App& command, ExitCode (*run)(const Options& options)) {
  const auto options = std::make_shared<Options>();
  AddHash(command, options->hash);
  AddCommon(command, *options);
  return [options, run] { return run(*options); };
}

}  // namespace

Action AddShow(CLI::App& command) { return AddForHash(command, Show); }

Action AddRotate(CLI::App& command) { return AddForHash(command, Rotate); }

}  // namespace command
