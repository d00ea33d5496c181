#include <ctime>
#include <limits>

#include "admin/link_settings.h"
#include "call.h"
#include "keys.h"

namespace webapi {

namespace {

using namespace VEXO::sharing;  // the keys
using admin::Access;
using admin::LinkSettings;
using record::Entry;

/// The project that a filter names; empty when none is named.
std::string ReadProject(Parameters& parameters) {
  const std::optional<std::string> project = parameters.Text(SZK_PROJECT_NAME);
  if (project == "") parameters.Fail("project_name is empty");
  return project.value_or("");
}

/// The owner that a filter names, by name or, when the account is deleted, by id.
std::optional<unsigned int> ReadOwner(Parameters& parameters) {
  std::optional<unsigned int> owner = parameters.User(SZK_OWNER_USER);
  const std::optional<long> number = parameters.Number(SZK_OWNER_UID, 0, UID_ERR - 1L);
  if (owner && number) {
    return parameters.Fail("owner_user and owner_uid cannot be used together");
  }
  if (number) owner = *number;
  return owner;
}

/// A word for an enumeration, which `parse` knows.
template <class T>
std::optional<T> ReadWord(Parameters& parameters, const std::string& name,
                          bool (*parse)(const std::string&, T&), const char* words) {
  const std::optional<std::string> word = parameters.Text(name);
  T value{};
  if (!word) return std::nullopt;
  if (parse(*word, value)) return value;
  return parameters.Fail(name + " must be " + words);
}

/// Reads the settings of a link.  A requested password is generated into `password`.
LinkSettings ReadSettings(Parameters& parameters, admin::Secret& password) {
  LinkSettings settings;
  settings.project = parameters.Text(SZK_PROJECT_NAME);
  parameters.User(SZK_OWNER_USER);  // by name only
  settings.owner = parameters.Text(SZK_OWNER_USER);
  settings.app = parameters.Object(SZK_APP);
  settings.private_data = parameters.Object(SZK_PRIVATE_DATA);
  settings.start_at = parameters.Number(SZK_START_AT, 0, admin::kLatestTime);
  settings.expire_at = parameters.Number(SZK_EXPIRE_AT, 0, admin::kLatestTime);
  settings.expire_times =
      parameters.Number(SZK_EXPIRE_TIMES, 0, std::numeric_limits<int>::max());
  settings.enabled = parameters.Flag(SZK_ENABLED_);
  settings.auto_gc = parameters.Flag(SZK_AUTO_GC);
  settings.match_ip = parameters.Flag(SZK_ENABLE_MATCH_IP);
  settings.title = parameters.Text(SZK_PROTECT_TITLE);
  settings.users = parameters.Names(SZK_PROTECT_USERS);
  settings.groups = parameters.Names(SZK_PROTECT_GROUPS);
  settings.protect_type = ReadWord(parameters, SZK_PROTECT_TYPE, admin::ParseProtectType,
                                   "none, password or user");
  settings.redirect_type =
      ReadWord(parameters, SZK_REDIRECT_TYPE, admin::ParseRedirectType,
               "none, url_param or always");
  settings.redirect_uri = parameters.Text(SZK_REDIRECT_URI);
  if (!parameters.Flag(kGeneratePassword).value_or(false)) return settings;
  settings.password = &password;
  if (!password.Generate()) {
    parameters.Fail("cannot generate a password: no random numbers", admin::kFailed);
  }
  return settings;
}

Response List(Call& call) {
  admin::LinkFilter filter;
  filter.project = ReadProject(call.parameters);
  filter.owner = ReadOwner(call.parameters);
  const Page page(call.parameters);
  if (Error error = call.Open(Access::kRead)) return error;
  long total = 0;
  if (Error error = call.links->Count(filter, total)) return error;
  const long now = time(nullptr);
  admin::LinkReader reader(
      call.database(), filter.Sql(call.database(), now), SZK_ID_,
      std::to_string(page.limit) + " OFFSET " + std::to_string(page.offset));
  Json::Value data = page.ToJson(total);
  Entry link;
  while (reader.Next(link)) data["items"].append(LinkJson(link, call.urls, now));
  data["unreadable"] = UnreadableJson(reader.unreadable());
  return reader.good() ? Response(std::move(data))
                       : Response(admin::DatabaseError(call.database()));
}

Response Get(Call& call) {
  const std::string hash = call.parameters.Required(SZK_HASH);
  if (Error error = call.Open(Access::kRead)) return error;
  Entry link;
  if (Error error = call.links->Find(hash, link)) return error;
  long tokens = 0;
  if (Error error = call.links->CountLiveTokens(link, tokens)) return error;
  Json::Value data = LinkDetailsJson(link, call.urls, time(nullptr));
  data["tokens"] = Json::Int64{tokens};
  return data;
}

Response Create(Call& call) {
  call.parameters.Required(SZK_PROJECT_NAME);
  call.parameters.Required(SZK_OWNER_USER);
  admin::Secret password;
  const LinkSettings settings = ReadSettings(call.parameters, password);
  if (Error error = call.parameters.Check()) return error;
  Entry link;
  if (Error error = NewLink(settings, link)) return error;
  if (Error error = call.Open(Access::kCreate)) return error;
  if (Error error = call.links->Create(link)) return error;
  Response response = StoredLinkJson(link, settings.password, call.urls);
  response.undo = [&call, link] { return call.links->UndoCreate(link); };
  return response;
}

Response Set(Call& call) {
  const std::string hash = call.parameters.Required(SZK_HASH);
  admin::Secret password;
  const LinkSettings settings = ReadSettings(call.parameters, password);
  if (Error error = call.Open(Access::kWrite)) return error;
  admin::StoredLink stored;
  if (Error error = call.links->Edit(hash, settings, stored)) return error;
  Response response = StoredLinkJson(stored.link, settings.password, call.urls);
  response.data["revoked"] = Json::Int64{stored.revoked};
  if (settings.password != nullptr) {
    response.undo = [&call, stored] { return call.links->UndoEdit(stored); };
  }
  return response;
}

template <Error (admin::LinkAdmin::*operation)(const std::string& hash, long& revoked)>
Response RunOnLink(Call& call) {
  const std::string hash = call.parameters.Required(SZK_HASH);
  if (Error error = call.Open(Access::kWrite)) return error;
  long revoked = 0;
  if (Error error = (call.links.get()->*operation)(hash, revoked)) return error;
  Json::Value data;
  data[SZK_HASH] = hash;
  data["revoked"] = Json::Int64{revoked};
  return data;
}

Response Purge(Call& call) {
  admin::PurgeScope scope;
  scope.project = ReadProject(call.parameters);
  scope.owner = ReadOwner(call.parameters);
  scope.every_owner = call.parameters.Flag("all").value_or(false);
  if (scope.owner && scope.every_owner) {
    call.parameters.Fail("all=true cannot be used with owner_user or owner_uid");
  }
  if (Error error = call.Open(Access::kWrite)) return error;
  admin::PurgeCounts counts;
  scope.sessions = scope.tokens = false;
  if (Error error = call.links->Purge(scope, counts)) return error;
  return PurgeJson(counts);
}

Response Info(Call& call) {
  if (Error error = call.Open(Access::kRead)) return error;
  std::map<std::string, admin::LinkCounts> counts;
  if (Error error = CountLinks(call.database(), time(nullptr), counts)) return error;
  return LinkCountsJson(Sum(counts));
}

}  // namespace

Methods LinkMethods() {
  return {{"list", List},
          {"get", Get},
          {"create", Create},
          {"set", Set},
          {"delete", RunOnLink<&admin::LinkAdmin::Delete>},
          {"revoke", RunOnLink<&admin::LinkAdmin::Revoke>},
          {"purge", Purge},
          {"info", Info}};
}

}  // namespace webapi
