#include "admin/link_json.h"

#include <algorithm>

#include "admin/accounts.h"
#include "admin/json_text.h"
#include "base/percent.h"
#include "keys.h"
#include "utils.h"

namespace admin {

using namespace VEXO::sharing;  // the keys

std::string LinkUrls::Get(const Entry& link) {
  const std::string end = VEXO::base::PercentEncode(link.get_hash());
  const auto prefix = prefixes_.find(link.get_project_name());
  if (prefix != prefixes_.end()) return prefix->second + end;
  if (unknown_) return "";
  std::string url;
  _tag_SHARING_URL_TYPE type = SHARING_URL_TYPE_UNKNOWN;
  unknown_ = !GetSharingURL(link.get_hash(), 0, true, "", "", url, type) || url.empty();
  if (unknown_) return "";
  const size_t length = url.size() - std::min(url.size(), end.size());
  if (url.compare(length, std::string::npos, end) == 0) {
    prefixes_[link.get_project_name()] = url.substr(0, length);
  }
  return url;
}

Json::Value RecordJson(const Entry& link) {
  Json::Value out;
  link.ToJSON(out);
  out[SZK_OWNER_UID] = link.get_owner_uid();
  out[SZK_START_AT] = Json::Int64{link.get_start_at()};
  out[SZK_EXPIRE_AT] = Json::Int64{link.get_expire_at()};
  return out;
}

Json::Value LinkJson(const Entry& link, LinkUrls& urls, long now) {
  Json::Value out = RecordJson(link);
  out[SZK_ID_] = link.get_id();
  out["state"] = StateName(StateOf(link, now));
  const std::string url = urls.Get(link);
  out["url"] = url.empty() ? Json::Value() : Json::Value(url);
  return out;
}

Json::Value LinkDetailsJson(const Entry& link, LinkUrls& urls, long now) {
  Json::Value out = LinkJson(link, urls, now);
  out[SZK_PRIVATE_DATA] = link.get_private_data();
  out["unresolved_users"] = JsonArray(UnresolvedUsers(link));
  out["unresolved_groups"] = JsonArray(UnresolvedGroups(link));
  return JsonObject({{"link", out}});
}

Json::Value StoredLinkJson(const Entry& link, const Secret* generated, LinkUrls& urls) {
  Json::Value data = LinkDetailsJson(link, urls, time(nullptr));
  if (generated != nullptr) data["password"] = generated->text();
  return data;
}

Json::Value PurgeJson(const PurgeCounts& counts) {
  return JsonObject({{"links", counts.links},
                     {"sessions", counts.sessions},
                     {"tokens", counts.tokens}});
}

Json::Value UnreadableJson(const std::vector<UnreadableLink>& links) {
  Json::Value array(Json::arrayValue);
  for (const auto& [id, hash] : links) {
    array.append(JsonObject({{SZK_ID_, id}, {SZK_HASH, hash}}));
  }
  return array;
}

long LinkCounts::Of(LinkState state) const {
  const auto found = by_state.find(StateName(state));
  return found == by_state.end() ? 0 : found->second;
}

Error CountLinks(BaseDB& database, long now, std::map<std::string, LinkCounts>& counts) {
  Result result;
  if (!CountLinksByState(database, now, result)) return DatabaseError(database);
  db::Row row;
  while (result.NextRow(row)) {
    LinkCounts& project = counts[row.GetField(SZK_PROJECT_NAME).AsString("")];
    const long links = row.GetField("links").AsTime(0);
    project.by_state[row.GetField("state").AsString("")] += links;
    project.total += links;
    project.logins += row.GetField("logins").AsTime(0);
  }
  return {};
}

LinkCounts Sum(const std::map<std::string, LinkCounts>& counts) {
  LinkCounts sum;
  for (const auto& [name, project] : counts) {
    for (const auto& [state, links] : project.by_state) sum.by_state[state] += links;
    sum.total += project.total;
    sum.logins += project.logins;
  }
  return sum;
}

Json::Value LinkCountsJson(const LinkCounts& counts) {
  Json::Value out = JsonObject({{"total", counts.total}, {"logins", counts.logins}});
  for (const LinkState state : kLinkStates) {
    out["states"][StateName(state)] = Json::Int64{counts.Of(state)};
  }
  return out;
}

Error CountVisitors(BaseDB& database, const std::string& table, long now,
                    VisitorCounts& counts) {
  return CountRows(database, table, "", counts.total) &&
                 CountRows(database, table, Alive(now), counts.alive)
             ? Error{}
             : DatabaseError(database);
}

Json::Value VisitorCountsJson(const VisitorCounts& counts) {
  return JsonObject({{"total", counts.total}, {"alive", counts.alive}});
}

}  // namespace admin
