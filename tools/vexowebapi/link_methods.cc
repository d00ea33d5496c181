#include <json/value.h>

#include <ctime>
#include <optional>

#include "keys.h"
#include "methods.h"
#include "paging.h"

namespace webapi {

namespace {

using namespace VEXO::sharing;  // the keys
using admin::Access;
using record::Entry;

/// The project that a filter names; empty when none is named.
std::string ReadProject(Parameters& parameters) {
  std::string project;
  if (parameters.Text(SZK_PROJECT_NAME, project) && project.empty()) {
    parameters.Fail(admin::kBadParameter, "project_name is empty");
  }
  return project;
}

std::string ReadHash(Parameters& parameters) {
  std::string hash;
  parameters.Require(SZK_HASH);
  parameters.Text(SZK_HASH, hash);
  return hash;
}

/// The owner that a filter names, by name or, when the account is deleted, by id.
std::optional<unsigned int> ReadOwner(Parameters& parameters) {
  unsigned int owner = UID_ERR;
  long number = 0;
  const bool by_name = parameters.User(SZK_OWNER_USER, owner);
  const bool by_id = parameters.Number(SZK_OWNER_UID, 0, UID_ERR - 1L, number);
  if (by_name && by_id) {
    parameters.Fail(admin::kBadParameter,
                    "owner_user and owner_uid cannot be used together");
  }
  if (by_id) owner = static_cast<unsigned int>(number);
  return by_name || by_id ? std::optional(owner) : std::nullopt;
}

Response List(Call& call) {
  admin::LinkFilter filter;
  filter.project = ReadProject(call.parameters);
  filter.owner = ReadOwner(call.parameters);
  const Page page = ReadPage(call.parameters);
  if (Error error = call.Open(Access::kRead)) return error;
  long total = 0;
  if (Error error = call.links().Count(filter, total)) return error;
  const long now = time(nullptr);
  admin::LinkReader reader(
      call.database(), filter.Sql(call.database(), now), SZK_ID_,
      std::to_string(page.limit) + " OFFSET " + std::to_string(page.offset));
  Json::Value data = PageJson(page, total);
  Entry link;
  while (reader.Next(link)) data["items"].append(LinkJson(link, call.urls(), now));
  data["unreadable"] = UnreadableJson(reader.unreadable());
  return reader.good() ? Response(data) : Response(admin::DatabaseError(call.database()));
}

Response Get(Call& call) {
  const std::string hash = ReadHash(call.parameters);
  if (Error error = call.Open(Access::kRead)) return error;
  Entry link;
  if (Error error = call.links().Find(hash, link)) return error;
  long tokens = 0;
  if (Error error = call.links().CountLiveTokens(link, tokens)) return error;
  Json::Value data = LinkDetailsJson(link, call.urls(), time(nullptr));
  data["tokens"] = Json::Int64{tokens};
  return data;
}

Response Create(Call& call) {
  call.parameters.Require(SZK_PROJECT_NAME);
  call.parameters.Require(SZK_OWNER_USER);
  admin::Secret password;
  const admin::LinkSettings settings = call.parameters.Settings(password);
  Entry link;
  if (call.parameters.error()) return call.parameters.error();
  if (Error error = NewLink(settings, link)) return error;
  if (Error error = call.Open(Access::kCreate)) return error;
  if (Error error = call.links().Create(link)) return error;
  Response response = StoredLinkJson(link, settings.password, call.urls());
  response.OnLoss([&call, link] { return call.links().UndoCreate(link); });
  return response;
}

Response Set(Call& call) {
  const std::string hash = ReadHash(call.parameters);
  admin::Secret password;
  const admin::LinkSettings settings = call.parameters.Settings(password);
  if (Error error = call.Open(Access::kWrite)) return error;
  admin::StoredLink stored;
  if (Error error = call.links().Edit(hash, settings, stored)) return error;
  Json::Value data = StoredLinkJson(stored.link, settings.password, call.urls());
  data["revoked"] = Json::Int64{stored.revoked};
  Response response = data;
  if (settings.password != nullptr) {
    response.OnLoss([&call, stored] { return call.links().UndoEdit(stored); });
  }
  return response;
}

using Operation = Error (admin::LinkAdmin::*)(const std::string& hash, long& revoked);

Response RunOnLink(Call& call, Operation operation) {
  const std::string hash = ReadHash(call.parameters);
  if (Error error = call.Open(Access::kWrite)) return error;
  long revoked = 0;
  if (Error error = (call.links().*operation)(hash, revoked)) return error;
  Json::Value data;
  data[SZK_HASH] = hash;
  data["revoked"] = Json::Int64{revoked};
  return data;
}

Response Delete(Call& call) { return RunOnLink(call, &admin::LinkAdmin::Delete); }
Response Revoke(Call& call) { return RunOnLink(call, &admin::LinkAdmin::Revoke); }

Response Purge(Call& call) {
  admin::PurgeScope scope;
  scope.project = ReadProject(call.parameters);
  scope.owner = ReadOwner(call.parameters);
  call.parameters.Flag("all", scope.every_owner);
  if (scope.owner && scope.every_owner) {
    call.parameters.Fail(admin::kBadParameter,
                         "all=true cannot be used with owner_user or owner_uid");
  }
  if (Error error = call.Open(Access::kWrite)) return error;
  admin::PurgeCounts counts;
  scope.sessions = scope.tokens = false;
  if (Error error = call.links().Purge(scope, counts)) return error;
  return PurgeJson(counts);
}

Response Info(Call& call) {
  if (Error error = call.Open(Access::kRead)) return error;
  std::map<std::string, admin::LinkCounts> counts;
  if (Error error = CountLinks(call.database(), time(nullptr), counts)) return error;
  return LinkCountsJson(Sum(counts));
}

}  // namespace

std::vector<Method> LinkMethods() {
  const std::vector<std::string> settings = SettingNames();
  std::vector<std::string> changes = settings;
  changes.push_back(SZK_HASH);
  return {
      {"list", {SZK_PROJECT_NAME, SZK_OWNER_USER, SZK_OWNER_UID, kOffset, kLimit}, List},
      {"get", {SZK_HASH}, Get},
      {"create", settings, Create},
      {"set", changes, Set},
      {"delete", {SZK_HASH}, Delete},
      {"revoke", {SZK_HASH}, Revoke},
      {"purge", {SZK_PROJECT_NAME, SZK_OWNER_USER, SZK_OWNER_UID, "all"}, Purge},
      {"info", {}, Info}};
}

}  // namespace webapi
