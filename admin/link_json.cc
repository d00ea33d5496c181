#include "admin/link_json.h"

#include <algorithm>
#include <climits>
#include <set>

#include "admin/accounts.h"
#include "admin/json_object.h"
#include "admin/json_text.h"
#include "admin/link_data.h"
#include "base/percent.h"
#include "base/text.h"
#include "keys.h"
#include "utils.h"

namespace admin {

using namespace VEXO::sharing;  // the keys

namespace {

constexpr size_t kSha1Digits = 40;
constexpr size_t kMd5Digits = 32;

constexpr long kMaxId = UID_ERR - 1L;

bool IsText(const Json::Value& value) {
  // A NUL would end the text in the database.
  return value.isString() && value.asString().find('\0') == std::string::npos;
}

template <long most>
bool IsNumber(const Json::Value& value) {
  return value.isInt64() && value.asInt64() >= 0 && value.asInt64() <= most;
}

template <bool (*accepts)(const Json::Value& element)>
bool IsArrayOf(const Json::Value& value) {
  return value.isArray() && std::all_of(value.begin(), value.end(), accepts);
}

/// What a member may hold.
struct Kind {
  const char* fault;
  bool (*accepts)(const Json::Value& value);
};

constexpr Kind kText = {"must be a string without NUL", IsText};
constexpr Kind kFlag = {"must be true or false",
                        [](const Json::Value& value) { return value.isBool(); }};
constexpr Kind kSeconds = {"must be a number from 0 to 9223372036854775807",
                           IsNumber<LONG_MAX>};
constexpr Kind kCount = {"must be a number from 0 to 2147483647", IsNumber<INT_MAX>};
constexpr Kind kId = {"must be a number from 0 to 4294967294", IsNumber<kMaxId>};
constexpr Kind kTexts = {"must be an array of strings", IsArrayOf<IsText>};
constexpr Kind kIds = {"must be an array of ids", IsArrayOf<IsNumber<kMaxId>>};
constexpr Kind kObject = {"must be an object",
                          [](const Json::Value& value) { return value.isObject(); }};

struct Member {
  const char* name;
  Kind kind;
  Json::Value otherwise;   // its value when it is left out
  const char* words = "";  // the only ones allowed, unless empty
};

const Member kMembers[] = {
    {SZK_HASH, kText, ""},
    {SZK_PROJECT_NAME, kText, ""},
    {SZK_OWNER_USER, kText, ""},
    {SZK_OWNER_UID, kId, Json::Value()},
    {SZK_ENABLED_, kFlag, true},
    {SZK_START_AT, kSeconds, 0},
    {SZK_EXPIRE_AT, kSeconds, 0},
    {SZK_EXPIRE_TIMES, kCount, 0},
    {SZK_USE_COUNT, kCount, 0},
    {SZK_AUTO_GC, kFlag, true},
    {SZK_ENABLE_MATCH_IP, kFlag, true},
    {SZK_PROTECT_TYPE, kText, "", "none, password, user"},  // see CheckMeaning
    {SZK_PROTECT_TITLE, kText, ""},
    {SZK_PROTECT_PASSWORD, kText, ""},
    {SZK_PROTECT_PASSWORD_ALGO, kText, SZK_PROTECT_PASSWORD_ALGO_DEFAULT, "default, md5"},
    {SZK_PROTECT_PASSWORD_SALT, kText, ""},
    {SZK_PROTECT_UIDS, kIds, Json::arrayValue},
    {SZK_PROTECT_GIDS, kIds, Json::arrayValue},
    {SZK_PROTECT_USERS, kTexts, Json::arrayValue},
    {SZK_PROTECT_GROUPS, kTexts, Json::arrayValue},
    {SZK_REDIRECT_TYPE, kText, SZK_REDIRECT_REDIRECT_NONE, "none, url_param, always"},
    {SZK_REDIRECT_URI, kText, ""},
    {SZK_APP, kObject, Json::objectValue},
    {SZK_PRIVATE_DATA, kObject, Json::objectValue}};

/// Checks the members by the table, and adds those left out.  Returns what is wrong.
std::string CheckMembers(Json::Value& line) {
  Json::Value checked(Json::objectValue);
  for (const auto& [name, kind, otherwise, words] : kMembers) {
    const Json::Value value = line.get(name, Json::Value());
    checked[name] = value.isNull() ? otherwise : value;
    if (value.isNull()) continue;
    const std::string start = std::string("\"") + name + "\" ";
    if (!kind.accepts(value)) return start + kind.fault;
    const std::vector<std::string> allowed = VEXO::base::Split(words, ",");
    if (*words != '\0' &&
        std::count(allowed.begin(), allowed.end(), value.asString()) == 0) {
      return start + "must be one of " + words;
    }
  }
  for (const std::string& name : line.getMemberNames()) {
    if (!checked.isMember(name)) return "unknown member: \"" + name + "\"";
  }
  line = checked;
  return "";
}

/// Checks the combination of the members, and finds the owner: by name, or by number
/// without a name, since the number of a named user may belong to another user here.
std::string CheckMeaning(Json::Value& line) {
  const std::string hash = line[SZK_HASH].asString();
  for (const char* const required : {SZK_HASH, SZK_PROJECT_NAME}) {
    if (line[required] == "") return std::string("\"") + required + "\" is required";
  }
  const bool folder = hash == "." || hash == "..";  // which a browser resolves
  if (folder || !std::all_of(hash.begin(), hash.end(), VEXO::base::IsUnreserved)) {
    return "\"hash\" cannot be part of a URL";
  }
  const std::string owner = line[SZK_OWNER_USER].asString();
  unsigned int uid = UID_ERR;
  if (!owner.empty() && Users().FindId(owner, uid) != AccountState::kFound) {
    return "\"owner_user\" names an unknown user: " + owner;
  }
  if (!owner.empty()) line[SZK_OWNER_UID] = uid;
  if (line[SZK_OWNER_UID].isNull()) return "\"owner_user\" is required";

  const std::string password = line[SZK_PROTECT_PASSWORD].asString();
  const bool md5 = line[SZK_PROTECT_PASSWORD_ALGO] == SZK_PROTECT_PASSWORD_ALGO_MD5;
  const bool stored = password.size() == (md5 ? kMd5Digits : kSha1Digits) &&
                      password.find_first_not_of("0123456789abcdef") == std::string::npos;
  if (!password.empty() && !stored) {
    return "\"protect_password\" is not a stored password";
  }
  if (!password.empty() && !md5 && line[SZK_PROTECT_PASSWORD_SALT] == "") {
    return "\"protect_password_salt\" is required";
  }
  const bool names = !line[SZK_PROTECT_UIDS].empty() || !line[SZK_PROTECT_GIDS].empty() ||
                     !line[SZK_PROTECT_USERS].empty() ||
                     !line[SZK_PROTECT_GROUPS].empty();
  if (line[SZK_PROTECT_TYPE] == "") {
    // An open link must not come of one that is protected.
    if (names || !password.empty()) return "\"protect_type\" is required";
    line[SZK_PROTECT_TYPE] = SZK_PROTECT_PROTECT_NONE;
  }
  if (line[SZK_PROTECT_TYPE] == SZK_PROTECT_PROTECT_USER && !names) {
    return "\"protect_type\" is \"user\" without any user or group";
  }
  return "";
}

/// Moves the names that are known on this machine from `names` to `ids`, and removes
/// duplicates.
void Resolve(Directory& directory, Json::Value& names, Json::Value& ids) {
  std::set<Json::Value> known(ids.begin(), ids.end());
  std::set<Json::Value> unknown;
  for (const Json::Value& name : names) {
    unsigned int id = 0;
    if (directory.FindId(name.asString(), id) == AccountState::kFound) {
      known.insert(id);
    } else {
      unknown.insert(name);
    }
  }
  names = JsonArray(unknown);
  ids = JsonArray(known);
}

/// Lets the database make a row of the members, so that the link is what the library
/// would read.  Its setters cannot set both ids without a name and names without an id.
bool ReadAsRow(db::BaseDB& database, const Json::Value& line, Entry& link) {
  Json::Value data = line;
  data[SZK_PROTECT_EXTRA_USERS] = line[SZK_PROTECT_USERS];
  data[SZK_PROTECT_EXTRA_GROUPS] = line[SZK_PROTECT_GROUPS];
  Resolve(Users(), data[SZK_PROTECT_EXTRA_USERS], data[SZK_PROTECT_UIDS]);
  Resolve(Groups(), data[SZK_PROTECT_EXTRA_GROUPS], data[SZK_PROTECT_GIDS]);
  std::map<std::string, std::string> columns = link.GetFieldMap();
  for (auto& [name, value] : columns) {
    const Json::Value& member = line[name];
    value = member.isBool() ? std::to_string(member.asInt()) : member.asString();
  }
  columns[SZK_DATA] = JsonText(data);
  Result result;
  db::Row row;
  return SelectValues(database, columns, result) && result.NextRow(row) &&
         link.FromRow(row);
}

bool DisableWithoutPassword(Entry& link) {
  Secret password;
  if (!password.Generate()) return false;
  link.set_protect_type(Entry::PROTECT_PASSWORD);
  link.set_protect_password(password.text(), true, Entry::ENCRYPT_ALGO_DEFAULT);
  link.set_enabled(false);
  return link.IsLegal();
}

/// What is added to the public view of a link.
struct Parts {
  LinkUrls* urls = nullptr;  // unless null: the id, the state and the URL
  long now = 0;              // for the state
  bool nameless_ids = false;
  bool secrets = false;
};

/// Adds the members of a link to an object, in the order of their names.  Times are in
/// seconds since the epoch.
template <class Object>
void AddMembers(const Entry& link, const Parts& parts, Object& out) {
  const LinkData data = ReadLinkData(link);
  out.Add(SZK_APP, data.app_);
  out.Add(SZK_AUTO_GC, link.get_auto_gc());
  out.Add(SZK_ENABLE_MATCH_IP, data.enable_match_ip_);
  out.Add(SZK_ENABLED_, link.get_enabled());
  out.Add(SZK_EXPIRE_AT, link.get_expire_at());
  out.Add(SZK_EXPIRE_TIMES, link.get_expire_times());
  out.Add(SZK_HASH, link.get_hash());
  if (parts.urls != nullptr) out.Add(SZK_ID_, link.get_id());
  out.Add(SZK_OWNER_UID, link.get_owner_uid());
  out.Add(SZK_OWNER_USER, Users().Name(link.get_owner_uid()));
  if (parts.secrets) out.Add(SZK_PRIVATE_DATA, data.private_data_);
  out.Add(SZK_PROJECT_NAME, link.get_project_name());
  if (parts.nameless_ids) {
    out.Add(SZK_PROTECT_GIDS,
            Groups().Nameless(data.protect_gids_, data.protect_extra_groups_));
  }
  out.Add(SZK_PROTECT_GROUPS,
          Groups().Names(data.protect_gids_, data.protect_extra_groups_));
  if (parts.secrets) {
    out.Add(SZK_PROTECT_PASSWORD, data.protect_password_);
    out.Add(SZK_PROTECT_PASSWORD_ALGO, AlgoText(data.protect_password_algo_));
    out.Add(SZK_PROTECT_PASSWORD_SALT, data.protect_password_salt_);
  }
  out.Add(SZK_PROTECT_TITLE, data.protect_title_);
  out.Add(SZK_PROTECT_TYPE, ProtectTypeText(data.protect_type_));
  if (parts.nameless_ids) {
    out.Add(SZK_PROTECT_UIDS,
            Users().Nameless(data.protect_uids_, data.protect_extra_users_));
  }
  out.Add(SZK_PROTECT_USERS,
          Users().Names(data.protect_uids_, data.protect_extra_users_));
  out.Add(SZK_REDIRECT_TYPE, RedirectTypeText(data.redirect_type_));
  out.Add(SZK_REDIRECT_URI, data.redirect_uri_);
  out.Add(SZK_START_AT, link.get_start_at());
  if (parts.urls != nullptr) {
    out.Add("state", StateName(StateOf(link, parts.now)));
    const std::string url = parts.urls->Get(link);
    if (url.empty()) {
      out.Add("url", nullptr);
    } else {
      out.Add("url", url);
    }
  }
  out.Add(SZK_USE_COUNT, link.get_use_count());
}

Json::Value LinkValue(const Entry& link, const Parts& parts) {
  ObjectValue value;
  AddMembers(link, parts, value);
  return value.Finish();
}

std::string LinkText(const Entry& link, const Parts& parts) {
  ObjectText object;
  AddMembers(link, parts, object);
  std::string text;
  return object.Finish(text) ? text : JsonText(LinkValue(link, parts));
}

}  // namespace

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

Json::Value LinkJson(const Entry& link, LinkUrls& urls, long now) {
  return LinkValue(link, {&urls, now});
}

std::string LinkJsonText(const Entry& link, LinkUrls& urls, long now) {
  return LinkText(link, {&urls, now});
}

Json::Value LinkDetailsJson(const Entry& link, LinkUrls& urls, long now) {
  Json::Value out = LinkJson(link, urls, now);
  out[SZK_PRIVATE_DATA] = link.get_private_data();
  out["unresolved_users"] = JsonArray(Unresolved(AllowedUsers(link)));
  out["unresolved_groups"] = JsonArray(Unresolved(AllowedGroups(link)));
  return JsonObject({{"link", out}});
}

Json::Value StoredLinkJson(const Entry& link, const Secret* generated, LinkUrls& urls) {
  Json::Value data = LinkDetailsJson(link, urls, time(nullptr));
  if (generated != nullptr) data["password"] = generated->text();
  return data;
}

std::string LinkLine(const Entry& link, bool with_secrets) {
  Parts parts;
  parts.nameless_ids = true;
  parts.secrets = with_secrets;
  return LinkText(link, parts);
}

Error ParseLinkLine(const std::string& text, db::BaseDB& database, LineLink& line) {
  Json::Value object;
  std::string reason;
  if (!ParseJsonObject(text, object, reason)) return {kBadParameter, reason};
  reason = CheckMembers(object);
  if (reason.empty()) reason = CheckMeaning(object);
  if (!reason.empty()) return {kBadParameter, reason};

  Json::Value& type = object[SZK_PROTECT_TYPE];
  line.without_password =
      type == SZK_PROTECT_PROTECT_PASSWORD && object[SZK_PROTECT_PASSWORD] == "";
  if (line.without_password) type = SZK_PROTECT_PROTECT_NONE;
  if (!ReadAsRow(database, object, line.link) ||
      (line.without_password && !DisableWithoutPassword(line.link))) {
    return {kFailed, "the link cannot be stored"};
  }
  return {};
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
