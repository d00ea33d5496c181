#include "admin/link_line.h"

#include <json/value.h>

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <vector>

#include "admin/json_text.h"
#include "admin/link_json.h"
#include "admin/queries.h"
#include "admin/secret.h"
#include "base/percent.h"
#include "keys.h"
#include "utils.h"

namespace admin {

namespace {

using namespace VEXO::sharing;  // the keys

constexpr size_t kSha1Digits = 40;
constexpr size_t kMd5Digits = 32;

/// What a member may hold.
enum class Kind { kText, kFlag, kSeconds, kCount, kId, kTexts, kIds, kObject };

struct Member {
  const char* name;
  Kind kind;
  Json::Value otherwise;                // its value when it is left out
  std::vector<std::string> words = {};  // the only ones allowed, unless empty
};

const std::vector<Member>& Members() {
  static const std::vector<Member> members = {
      {SZK_HASH, Kind::kText, ""},
      {SZK_PROJECT_NAME, Kind::kText, ""},
      {SZK_OWNER_USER, Kind::kText, ""},
      {SZK_OWNER_UID, Kind::kId, Json::Value()},
      {SZK_ENABLED_, Kind::kFlag, true},
      {SZK_START_AT, Kind::kSeconds, 0},
      {SZK_EXPIRE_AT, Kind::kSeconds, 0},
      {SZK_EXPIRE_TIMES, Kind::kCount, 0},
      {SZK_USE_COUNT, Kind::kCount, 0},
      {SZK_AUTO_GC, Kind::kFlag, true},
      {SZK_ENABLE_MATCH_IP, Kind::kFlag, true},
      {SZK_PROTECT_TYPE,
       Kind::kText,
       "",  // see CheckMeaning
       {SZK_PROTECT_PROTECT_NONE, SZK_PROTECT_PROTECT_PASSWORD,
        SZK_PROTECT_PROTECT_USER}},
      {SZK_PROTECT_TITLE, Kind::kText, ""},
      {SZK_PROTECT_PASSWORD, Kind::kText, ""},
      {SZK_PROTECT_PASSWORD_ALGO,
       Kind::kText,
       SZK_PROTECT_PASSWORD_ALGO_DEFAULT,
       {SZK_PROTECT_PASSWORD_ALGO_DEFAULT, SZK_PROTECT_PASSWORD_ALGO_MD5}},
      {SZK_PROTECT_PASSWORD_SALT, Kind::kText, ""},
      {SZK_PROTECT_UIDS, Kind::kIds, Json::arrayValue},
      {SZK_PROTECT_GIDS, Kind::kIds, Json::arrayValue},
      {SZK_PROTECT_USERS, Kind::kTexts, Json::arrayValue},
      {SZK_PROTECT_GROUPS, Kind::kTexts, Json::arrayValue},
      {SZK_REDIRECT_TYPE,
       Kind::kText,
       SZK_REDIRECT_REDIRECT_NONE,
       {SZK_REDIRECT_REDIRECT_NONE, SZK_REDIRECT_REDIRECT_URLPARAM,
        SZK_REDIRECT_REDIRECT_ALWAYS}},
      {SZK_REDIRECT_URI, Kind::kText, ""},
      {SZK_APP, Kind::kObject, Json::objectValue},
      {SZK_PRIVATE_DATA, Kind::kObject, Json::objectValue}};
  return members;
}

/// Empty when the value is of the kind; otherwise what it must be.
std::string Fault(const Json::Value& value, Kind kind) {
  const auto number = [&value](long most) {
    const bool good = value.isInt64() && value.asInt64() >= 0 && value.asInt64() <= most;
    return good ? "" : "must be a number from 0 to " + std::to_string(most);
  };
  const auto list = [&value](Kind element, const char* fault) -> std::string {
    const bool good =
        value.isArray() &&
        std::all_of(value.begin(), value.end(), [element](const Json::Value& each) {
          return Fault(each, element).empty();
        });
    return good ? "" : fault;
  };
  switch (kind) {
    case Kind::kText: {
      // A NUL would end the text in the database.
      const bool good =
          value.isString() && value.asString().find('\0') == std::string::npos;
      return good ? "" : "must be a string without NUL";
    }
    case Kind::kFlag:
      return value.isBool() ? "" : "must be true or false";
    case Kind::kSeconds:
      return number(std::numeric_limits<long>::max());
    case Kind::kCount:
      return number(std::numeric_limits<int>::max());
    case Kind::kId:
      return number(UID_ERR - 1L);
    case Kind::kTexts:
      return list(Kind::kText, "must be an array of strings");
    case Kind::kIds:
      return list(Kind::kId, "must be an array of ids");
    default:
      return value.isObject() ? "" : "must be an object";
  }
}

/// Checks the members by the table, and adds those left out.  Returns what is wrong.
std::string CheckMembers(Json::Value& line) {
  Json::Value checked(Json::objectValue);
  for (const Member& member : Members()) {
    const Json::Value given = line.get(member.name, Json::Value());
    Json::Value& value = checked[member.name] = given.isNull() ? member.otherwise : given;
    if (given.isNull()) continue;
    std::string fault = Fault(value, member.kind);
    const bool allowed =
        member.words.empty() || std::find(member.words.begin(), member.words.end(),
                                          value.asString()) != member.words.end();
    if (fault.empty() && !allowed) {
      for (const std::string& word : member.words) {
        fault += (fault.empty() ? "must be one of " : ", ") + word;
      }
    }
    if (!fault.empty()) return std::string("\"") + member.name + "\" " + fault;
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
  if (!owner.empty() && !UserToUID(owner, uid)) {
    return "\"owner_user\" names an unknown user: " + owner;
  }
  if (!owner.empty()) line[SZK_OWNER_UID] = uid;
  if (line[SZK_OWNER_UID].isNull()) return "\"owner_user\" is required";

  const std::string password = line[SZK_PROTECT_PASSWORD].asString();
  const bool md5 = line[SZK_PROTECT_PASSWORD_ALGO] == SZK_PROTECT_PASSWORD_ALGO_MD5;
  const bool stored = password.size() == (md5 ? kMd5Digits : kSha1Digits) &&
                      password.find_first_not_of("0123456789abcdef") == std::string::npos;
  if (!password.empty() && !stored)
    return "\"protect_password\" is not a stored password";
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
template <class ToId>
void Resolve(Json::Value& names, Json::Value& ids, ToId to_id) {
  std::set<std::string> unknown;
  std::set<unsigned int> known;
  for (const Json::Value& id : ids) known.insert(id.asUInt());
  for (const Json::Value& name : names) {
    unsigned int id = 0;
    if (to_id(name.asString(), id)) {
      known.insert(id);
    } else {
      unknown.insert(name.asString());
    }
  }
  names = ids = Json::Value(Json::arrayValue);
  for (const std::string& name : unknown) names.append(name);
  for (const unsigned int id : known) ids.append(id);
}

/// The content of the column "data".
Json::Value Data(const Json::Value& line) {
  Json::Value data(Json::objectValue);
  for (const char* const name :
       {SZK_ENABLE_MATCH_IP, SZK_PROTECT_TYPE, SZK_PROTECT_TITLE, SZK_PROTECT_PASSWORD,
        SZK_PROTECT_PASSWORD_ALGO, SZK_PROTECT_PASSWORD_SALT, SZK_PROTECT_UIDS,
        SZK_PROTECT_GIDS, SZK_REDIRECT_TYPE, SZK_REDIRECT_URI, SZK_APP,
        SZK_PRIVATE_DATA}) {
    data[name] = line[name];
  }
  Json::Value& users = data[SZK_PROTECT_EXTRA_USERS] = line[SZK_PROTECT_USERS];
  Json::Value& groups = data[SZK_PROTECT_EXTRA_GROUPS] = line[SZK_PROTECT_GROUPS];
  Resolve(users, data[SZK_PROTECT_UIDS], UserToUID);
  Resolve(groups, data[SZK_PROTECT_GIDS], GroupToGID);
  return data;
}

/// Lets the database make a row of the columns, so that the link is what the library
/// would read.  Its setters cannot set both ids without a name and names without an id.
bool ReadAsRow(db::BaseDB& database, const std::map<std::string, std::string>& columns,
               Entry& link) {
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

/// The ids without a name.
template <class ToName>
Json::Value Nameless(const std::vector<unsigned int>& ids, ToName to_name) {
  Json::Value array(Json::arrayValue);
  for (const unsigned int id : ids) {
    std::string name;
    if (!to_name(id, name)) array.append(id);
  }
  return array;
}

}  // namespace

std::string LinkLine(const Entry& link, bool with_secrets) {
  Json::Value line;
  link.ToJSON(line);
  line[SZK_OWNER_UID] = link.get_owner_uid();
  line[SZK_START_AT] = Json::Int64{link.get_start_at()};
  line[SZK_EXPIRE_AT] = Json::Int64{link.get_expire_at()};
  line[SZK_PROTECT_UIDS] = Nameless(link.get_protect_uids(), UIDToUser);
  line[SZK_PROTECT_GIDS] = Nameless(link.get_protect_gids(), GIDToGroup);
  if (with_secrets) {
    line[SZK_PROTECT_PASSWORD] = link.get_protect_password();
    line[SZK_PROTECT_PASSWORD_ALGO] =
        link.get_protect_password_algo() == Entry::ENCRYPT_ALGO_MD5
            ? SZK_PROTECT_PASSWORD_ALGO_MD5
            : SZK_PROTECT_PASSWORD_ALGO_DEFAULT;
    line[SZK_PROTECT_PASSWORD_SALT] = link.get_protect_password_salt();
    line[SZK_PRIVATE_DATA] = link.get_private_data();
  }
  return JsonText(line);
}

Error ParseLinkLine(const std::string& text, db::BaseDB& database, LineLink& line) {
  Json::Value object;
  std::string reason;
  if (!ParseJsonObject(text, object, reason)) return {kBadParameter, reason, ""};
  reason = CheckMembers(object);
  if (reason.empty()) reason = CheckMeaning(object);
  if (!reason.empty()) return {kBadParameter, reason, ""};

  Json::Value data = Data(object);
  line.without_password = data[SZK_PROTECT_TYPE] == SZK_PROTECT_PROTECT_PASSWORD &&
                          data[SZK_PROTECT_PASSWORD] == "";
  if (line.without_password) data[SZK_PROTECT_TYPE] = SZK_PROTECT_PROTECT_NONE;
  std::map<std::string, std::string> columns = {{SZK_DATA, JsonText(data)}};
  for (const char* const name : {SZK_HASH, SZK_PROJECT_NAME, SZK_OWNER_UID, SZK_START_AT,
                                 SZK_EXPIRE_AT, SZK_EXPIRE_TIMES, SZK_USE_COUNT}) {
    columns[name] = object[name].asString();
  }
  for (const char* const name : {SZK_ENABLED_, SZK_AUTO_GC}) {
    columns[name] = object[name].asBool() ? "1" : "0";
  }
  if (!ReadAsRow(database, columns, line.link) ||
      (line.without_password && !DisableWithoutPassword(line.link))) {
    return {kFailed, "the link cannot be stored", ""};
  }
  return {};
}

}  // namespace admin
