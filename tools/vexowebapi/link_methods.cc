#include <json/value.h>

#include <ctime>
#include <optional>

#include "admission.h"
#include "condition.h"
#include "database.h"
#include "entry_db.h"
#include "keys.h"
#include "link_json.h"
#include "link_parameters.h"
#include "link_state.h"
#include "methods.h"
#include "paging.h"
#include "restore_link.h"
#include "result.h"
#include "statements.h"
#include "token_db.h"

namespace webapi {

namespace {

using namespace VEXO::sharing;
using db::Condition;
using db::EntryDB;
using db::SharingDB;
using record::Entry;

/// What the answer about a single link shows.
Json::Value FullView(const Entry& link) {
  Json::Value view = tools::LinkJson(link, time(nullptr));
  view[SZK_PRIVATE_DATA] = link.get_private_data();
  view["unresolved_users"] = tools::JsonArray(tools::UnresolvedUsers(link));
  view["unresolved_groups"] = tools::JsonArray(tools::UnresolvedGroups(link));
  return view;
}

/// Finds the row id and hash of a link, of one that does not read too.
Failure FindLink(SharingDB& database, const std::string& hash, Entry& link) {
  long id = 0;
  if (!tools::SelectNumber(database,
                           "SELECT COALESCE(MAX(id), 0) AS n FROM entry WHERE hash = '" +
                               database.Escape(hash) + "'",
                           id)) {
    return StatementFailure(database);
  }
  if (id == 0) return {kNoSuchObject, "no such link: " + hash};
  link.set_id(static_cast<int>(id));
  link.set_hash(hash);
  return {};
}

/// Reads the rest of a link that was found.
Failure ReadLink(const EntryDB& links, Entry& link) {
  const std::string hash = link.get_hash();
  if (links.GetByHash(hash, link)) return {};
  return {kUnreadableObject,
          "the row of the link " + hash + " does not read; delete takes it away"};
}

/// The project that a filter names; empty when none is named.
std::string ReadProject(Parameters& parameters) {
  std::string project;
  if (parameters.Text(SZK_PROJECT_NAME, project) && project.empty()) {
    parameters.Fail(kBadParameter, "project_name is empty");
  }
  return project;
}

std::string ReadHash(Parameters& parameters) {
  std::string hash;
  parameters.Require(SZK_HASH);
  parameters.Text(SZK_HASH, hash);
  return hash;
}

/// The owner that a filter names, by name or, when the account is gone, by id.
std::optional<unsigned int> ReadOwner(Parameters& parameters) {
  unsigned int owner = UID_ERR;
  long number = 0;
  const bool by_name = parameters.User(SZK_OWNER_USER, owner);
  const bool by_id = parameters.Number(SZK_OWNER_UID, 0, UID_ERR - 1L, number);
  if (by_name && by_id) {
    parameters.Fail(kBadParameter, "owner_user and owner_uid name the owner twice");
  }
  if (by_id) owner = static_cast<unsigned int>(number);
  return by_name || by_id ? std::optional(owner) : std::nullopt;
}

Answer List(Parameters& parameters) {
  const std::string project = ReadProject(parameters);
  const std::optional<unsigned int> owner = ReadOwner(parameters);
  const Page page = ReadPage(parameters);
  Failure failure;
  SharingDB* const database = OpenDatabase(parameters, failure);
  if (database == nullptr) return failure;

  const EntryDB links(*database);
  Condition& condition = links.GetCondition();
  if (!project.empty()) condition.Where(SZK_PROJECT_NAME, project);
  if (owner) condition.Where(SZK_OWNER_UID, std::to_string(*owner));
  int total = 0;
  if (!links.Count(total)) return StatementFailure(*database);
  condition.OrderBy(SZK_ID_, true);
  condition.Limit(page.offset, page.limit);
  db::Result result;
  if (!database->Execute("SELECT * FROM entry" + condition.GetSQL(), result)) {
    return StatementFailure(*database);
  }
  return PageAnswer(page, total, result, [](const db::Row& row, Json::Value& view) {
    Entry link;
    if (!link.FromRow(row)) return false;
    view = tools::LinkJson(link, time(nullptr));
    return true;
  });
}

Answer Get(Parameters& parameters) {
  const std::string hash = ReadHash(parameters);
  Failure failure;
  SharingDB* const database = OpenDatabase(parameters, failure);
  if (database == nullptr) return failure;
  const EntryDB links(*database);
  Entry link;
  failure = FindLink(*database, hash, link);
  if (!failure) failure = ReadLink(links, link);
  if (failure) return failure;
  const db::TokenDB tokens(*database);
  tokens.GetCondition().Where(SZK_ENTRY_ID, std::to_string(link.get_id()));
  tokens.GetCondition().Where("timeout > " + std::to_string(time(nullptr)));
  int alive = 0;
  if (!tokens.Count(alive)) return StatementFailure(*database);
  Json::Value data;
  data["link"] = FullView(link);
  data["tokens"] = alive;
  return data;
}

/// The answer about a link that was stored; a fresh password is told this once.
Answer StoredAnswer(const Entry& link, const Password& password, Json::Value data) {
  data["link"] = FullView(link);
  if (!password.text().empty()) data["password"] = password.text();
  return data;
}

Answer Create(Parameters& parameters) {
  parameters.Require(SZK_PROJECT_NAME);
  parameters.Require(SZK_OWNER_USER);
  Entry link;
  link.set_app(Json::Value(Json::objectValue));
  Password password;
  ApplyParameters(parameters, link, password);
  Failure failure;
  SharingDB* const database = OpenOrMakeDatabase(parameters, failure);
  if (database == nullptr) return failure;
  EntryDB links(*database);
  tools::Transaction transaction(*database);  // or a locked file would be tried 51 times
  if (!transaction.good() || !links.CreateWithHash(link) || !transaction.Commit()) {
    return StatementFailure(*database);
  }
  Answer answer = StoredAnswer(link, password, Json::Value(Json::objectValue));
  answer.OnLoss([database, link] {
    return EntryDB(*database).Delete(link)
               ? "the link was taken back"
               : "the link " + link.get_hash() + " could not be taken back: delete it";
  });
  return answer;
}

bool Revoke(SharingDB& database, const Entry& link, long& revoked) {
  return DeleteRows(database,
                    "DELETE FROM token WHERE entry_id = " + std::to_string(link.get_id()),
                    revoked);
}

using Change = Answer (*)(SharingDB& database, EntryDB& links, Entry& link,
                          Parameters& parameters);

/// Finds the link that the call names and changes it; only a success is kept.
Answer ChangeLink(Change change, Parameters& parameters) {
  const std::string hash = ReadHash(parameters);
  Failure failure;
  SharingDB* const database = OpenDatabase(parameters, failure);
  if (database == nullptr) return failure;
  EntryDB links(*database);  // outlives the transaction, in which it could not checkpoint
  tools::Transaction transaction(*database);
  if (!transaction.good()) return StatementFailure(*database);
  Entry link;
  failure = FindLink(*database, hash, link);
  if (failure) return failure;
  const Answer answer = change(*database, links, link, parameters);
  if (answer.success() && !transaction.Commit()) return StatementFailure(*database);
  return answer;
}

Answer SetFound(SharingDB& database, EntryDB& links, Entry& link,
                Parameters& parameters) {
  const Failure failure = ReadLink(links, link);
  if (failure) return failure;
  const Entry before = link;
  Password password;
  ApplyParameters(parameters, link, password);
  if (parameters.failure()) return parameters.failure();
  long revoked = 0;
  const bool revoke = tools::AdmitsOthers(before, link);
  if (!links.Update(link) || (revoke && !Revoke(database, link, revoked))) {
    return StatementFailure(database);
  }
  Json::Value data;
  data["revoked"] = Json::Int64{revoked};
  Answer answer = StoredAnswer(link, password, data);
  if (!password.text().empty()) {
    answer.OnLoss([&database, before, link] {
      return tools::RestoreLink(database, before, link)
                 ? "the change was undone, but tokens stay revoked"
                 : "cannot undo the change of link " + before.get_hash() +
                       ": set a new password";
    });
  }
  return answer;
}

Answer RevokeFound(SharingDB& database, EntryDB&, Entry& link, Parameters&) {
  long revoked = 0;
  if (!Revoke(database, link, revoked)) return StatementFailure(database);
  Json::Value data;
  data[SZK_HASH] = link.get_hash();
  data["revoked"] = Json::Int64{revoked};
  return data;
}

Answer DeleteFound(SharingDB& database, EntryDB& links, Entry& link,
                   Parameters& parameters) {
  const Answer revoked = RevokeFound(database, links, link, parameters);
  if (revoked.success() && !links.Delete(link)) return StatementFailure(database);
  return revoked;
}

Answer Set(Parameters& parameters) { return ChangeLink(SetFound, parameters); }
Answer Delete(Parameters& parameters) { return ChangeLink(DeleteFound, parameters); }
Answer RevokeTokens(Parameters& parameters) {
  return ChangeLink(RevokeFound, parameters);
}

Answer Purge(Parameters& parameters) {
  const std::string project = ReadProject(parameters);
  const std::optional<unsigned int> owner = ReadOwner(parameters);
  bool all = false;
  parameters.Flag("all", all);
  if (owner && all) {
    parameters.Fail(kBadParameter, "all=true is every owner, so no owner is named");
  }
  if (!project.empty() && !owner && !all) {
    parameters.Fail(kMissingParameter,
                    "owner_user, owner_uid or all=true is required: whose links?");
  }
  Failure failure;
  SharingDB* const database = OpenDatabase(parameters, failure);
  if (database == nullptr) return failure;
  EntryDB links(*database);
  const bool done =
      owner || all ? links.PurgeExpiredByOwnerProject(owner.value_or(UID_ERR), project)
                   : links.PurgeExpired(kAlways);
  return done ? PurgeAnswer(*database) : StatementFailure(*database);
}

Answer Info(Parameters& parameters) {
  Failure failure;
  SharingDB* const database = OpenDatabase(parameters, failure);
  if (database == nullptr) return failure;
  db::Result result;
  if (!database->Execute("SELECT " + tools::StateSql(time(nullptr)) +
                             " AS state, COUNT(*) AS n FROM entry GROUP BY state",
                         result)) {
    return StatementFailure(*database);
  }
  Json::Value data;
  for (const tools::LinkState state : tools::kLinkStates) {
    data[tools::StateName(state)] = 0;
  }
  int total = 0;
  db::Row row;
  while (result.NextRow(row)) {
    const int count = row.GetField("n").AsInt(0);
    data[row.GetField("state").AsString("")] = count;
    total += count;
  }
  data["total"] = total;
  return data;
}

}  // namespace

std::vector<Method> LinkMethods() {
  const std::vector<std::string> settings = {
      SZK_PROJECT_NAME,  SZK_OWNER_USER,      SZK_APP,           SZK_PRIVATE_DATA,
      SZK_ENABLED_,      SZK_START_AT,        SZK_EXPIRE_AT,     SZK_EXPIRE_TIMES,
      SZK_AUTO_GC,       SZK_ENABLE_MATCH_IP, SZK_PROTECT_TYPE,  SZK_PROTECT_TITLE,
      SZK_PROTECT_USERS, SZK_PROTECT_GROUPS,  SZK_REDIRECT_TYPE, SZK_REDIRECT_URI,
      kGeneratePassword};
  std::vector<std::string> changes = settings;
  changes.push_back(SZK_HASH);
  return {
      {"list", {SZK_PROJECT_NAME, SZK_OWNER_USER, SZK_OWNER_UID, kOffset, kLimit}, List},
      {"get", {SZK_HASH}, Get},
      {"create", settings, Create},
      {"set", changes, Set},
      {"delete", {SZK_HASH}, Delete},
      {"revoke", {SZK_HASH}, RevokeTokens},
      {"purge", {SZK_PROJECT_NAME, SZK_OWNER_USER, SZK_OWNER_UID, "all"}, Purge},
      {"info", {}, Info}};
}

}  // namespace webapi
