#include "import_line.h"

#include <json/value.h>

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <vector>

#include "json.h"
#include "result.h"
#include "secret.h"
#include "strict_json.h"
#include "text.h"
#include "utf8.h"
#include "utils.h"

namespace command {

namespace {

using namespace VEXO::sharing;  // the keys

constexpr size_t kSha1Digits = 40;
constexpr size_t kMd5Digits = 32;

/// Takes the members of an object, each once, and keeps the first thing that is wrong.
class Members {
 public:
  explicit Members(const Json::Value& object) : object_(object) {}

  bool Has(const char* name) const { return object_.isMember(name); }

  std::string Text(const char* name, const std::string& otherwise = "") {
    const Json::Value& value = Take(name);
    if (value.isNull()) return otherwise;
    if (IsText(value)) return value.asString();
    Refuse(name, "is no text");
    return "";
  }

  /// One of the words; the first one without the member.
  std::string Word(const char* name, const std::vector<std::string>& words) {
    const std::string word = Text(name, words.front());
    if (std::find(words.begin(), words.end(), word) == words.end()) {
      Refuse(name, "is none of " + Join(words));
    }
    return word;
  }

  bool Flag(const char* name, bool otherwise) {
    const Json::Value& value = Take(name);
    if (value.isNull()) return otherwise;
    if (value.isBool()) return value.asBool();
    Refuse(name, "is neither true nor false");
    return false;
  }

  /// From 0 to `most`; 0 without the member.
  long Number(const char* name, long most) {
    const Json::Value& value = Take(name);
    if (value.isNull()) return 0;
    if (IsNumber(value, most)) return value.asInt64();
    Refuse(name, "is no number from 0 to " + std::to_string(most));
    return 0;
  }

  Json::Value Texts(const char* name) {
    return List(name, IsText, "is no list of texts");
  }

  Json::Value Ids(const char* name) {
    return List(
        name, [](const Json::Value& value) { return IsNumber(value, UID_ERR - 1L); },
        "is no list of ids");
  }

  Json::Value Object(const char* name) {
    const Json::Value& value = Take(name);
    if (value.isObject()) return value;
    if (!value.isNull()) Refuse(name, "is no object");
    return Json::Value(Json::objectValue);
  }

  void Refuse(const char* name, const std::string& reason) {
    if (reason_.empty()) reason_ = std::string("\"") + name + "\" " + reason;
  }

  /// Empty when every member was taken and good.
  std::string Reason() const {
    if (!reason_.empty()) return reason_;
    for (const std::string& name : object_.getMemberNames()) {
      if (taken_.count(name) == 0) return "nothing is known of \"" + name + "\"";
    }
    return "";
  }

 private:
  static bool IsText(const Json::Value& value) {
    // A zero byte would end the text in the database.
    return value.isString() && tools::IsUtf8(value.asString()) &&
           value.asString().find('\0') == std::string::npos;
  }

  static bool IsNumber(const Json::Value& value, long most) {
    return value.isInt64() && value.asInt64() >= 0 && value.asInt64() <= most;
  }

  const Json::Value& Take(const char* name) {
    taken_.insert(name);
    return object_[name];
  }

  template <class IsGood>
  Json::Value List(const char* name, IsGood is_good, const char* reason) {
    const Json::Value& value = Take(name);
    if (value.isArray() && std::all_of(value.begin(), value.end(), is_good)) return value;
    if (!value.isNull()) Refuse(name, reason);
    return Json::Value(Json::arrayValue);
  }

  const Json::Value& object_;
  std::set<std::string> taken_;
  std::string reason_;
};

/// The owner by name, or by number when he has no name.
unsigned int Owner(Members& members) {
  const std::string name = members.Text(SZK_OWNER_USER);
  const bool has_number = members.Has(SZK_OWNER_UID);
  unsigned int uid =
      static_cast<unsigned int>(members.Number(SZK_OWNER_UID, UID_ERR - 1L));
  if (name.empty()) {
    if (!has_number) members.Refuse(SZK_OWNER_USER, "is missing");
  } else if (!UserToUID(name, uid)) {
    // His number may be somebody else's here.
    members.Refuse(SZK_OWNER_USER, "is \"" + name + "\", who is no user here");
  }
  return uid;
}

/// Adds the ids of the names that are known here to `ids`, and answers the other names.
template <class ToId>
Json::Value Resolve(const Json::Value& names, ToId to_id, Json::Value& ids) {
  Json::Value unknown(Json::arrayValue);
  for (const Json::Value& name : names) {
    unsigned int id = 0;
    if (to_id(name.asString(), id)) {
      ids.append(id);
    } else {
      unknown.append(name);
    }
  }
  return unknown;
}

bool IsHex(const std::string& text, size_t digits) {
  return text.size() == digits &&
         text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

/// Takes the stored password into `data`.
void TakePassword(Members& members, Json::Value& data) {
  const std::string password = members.Text(SZK_PROTECT_PASSWORD);
  const std::string salt = members.Text(SZK_PROTECT_PASSWORD_SALT);
  const std::string algo =
      members.Word(SZK_PROTECT_PASSWORD_ALGO,
                   {SZK_PROTECT_PASSWORD_ALGO_DEFAULT, SZK_PROTECT_PASSWORD_ALGO_MD5});
  const bool md5 = algo == SZK_PROTECT_PASSWORD_ALGO_MD5;
  if (!password.empty() && !IsHex(password, md5 ? kMd5Digits : kSha1Digits)) {
    members.Refuse(SZK_PROTECT_PASSWORD, "is no stored password");
  } else if (!password.empty() && !md5 && salt.empty()) {
    members.Refuse(SZK_PROTECT_PASSWORD_SALT, "is missing");
  }
  data[SZK_PROTECT_PASSWORD] = password;
  data[SZK_PROTECT_PASSWORD_ALGO] = algo;
  data[SZK_PROTECT_PASSWORD_SALT] = salt;
}

/// What stands in the column of that name.
Json::Value Data(Members& members) {
  Json::Value data(Json::objectValue);
  data[SZK_ENABLE_MATCH_IP] = members.Flag(SZK_ENABLE_MATCH_IP, true);
  data[SZK_PROTECT_TYPE] = members.Word(
      SZK_PROTECT_TYPE,
      {SZK_PROTECT_PROTECT_NONE, SZK_PROTECT_PROTECT_PASSWORD, SZK_PROTECT_PROTECT_USER});
  data[SZK_PROTECT_TITLE] = members.Text(SZK_PROTECT_TITLE);
  TakePassword(members, data);
  Json::Value uids = members.Ids(SZK_PROTECT_UIDS);
  Json::Value gids = members.Ids(SZK_PROTECT_GIDS);
  data[SZK_PROTECT_EXTRA_USERS] =
      Resolve(members.Texts(SZK_PROTECT_USERS), UserToUID, uids);
  data[SZK_PROTECT_EXTRA_GROUPS] =
      Resolve(members.Texts(SZK_PROTECT_GROUPS), GroupToGID, gids);
  if (data[SZK_PROTECT_TYPE] == SZK_PROTECT_PROTECT_USER && uids.empty() &&
      gids.empty() && data[SZK_PROTECT_EXTRA_USERS].empty() &&
      data[SZK_PROTECT_EXTRA_GROUPS].empty()) {
    members.Refuse(SZK_PROTECT_TYPE, "is \"user\", and nobody is named");
  }
  data[SZK_PROTECT_UIDS] = uids;
  data[SZK_PROTECT_GIDS] = gids;
  data[SZK_REDIRECT_TYPE] = members.Word(
      SZK_REDIRECT_TYPE, {SZK_REDIRECT_REDIRECT_NONE, SZK_REDIRECT_REDIRECT_URLPARAM,
                          SZK_REDIRECT_REDIRECT_ALWAYS});
  data[SZK_REDIRECT_URI] = members.Text(SZK_REDIRECT_URI);
  data[SZK_APP] = members.Object(SZK_APP);
  data[SZK_PRIVATE_DATA] = members.Object(SZK_PRIVATE_DATA);
  return data;
}

/// Lets the database make a row of the columns, so that the link is what the library
/// would read: ids without a name beside names without an id cannot be set otherwise.
bool ReadAsRow(BaseDB& db, const std::map<std::string, std::string>& columns,
               Entry& link) {
  std::string sql = "SELECT 0 AS id";
  for (const auto& [name, value] : columns) {
    sql += ", '" + db.Escape(value) + "' AS " + name;
  }
  db::Result result;
  db::Row row;
  return db.Execute(sql, result) && result.NextRow(row) && link.FromRow(row);
}

bool CloseWithoutPassword(Entry& link) {
  Secret password;
  if (!password.Generate()) return false;
  link.set_protect_type(Entry::PROTECT_PASSWORD);
  link.set_protect_password(password.text(), true, Entry::ENCRYPT_ALGO_DEFAULT);
  link.set_enabled(false);
  return link.IsLegal();
}

}  // namespace

bool ParseImportLine(const std::string& text, BaseDB& db, ImportLine& line,
                     std::string& reason) {
  constexpr long kLastMoment = std::numeric_limits<long>::max();
  constexpr long kMostUses = std::numeric_limits<int>::max();
  Json::Value object;
  if (!tools::ParseStrictObject(text, object, reason)) return false;
  Members members(object);
  std::map<std::string, std::string> columns;
  columns[SZK_HASH] = members.Text(SZK_HASH);
  columns[SZK_PROJECT_NAME] = members.Text(SZK_PROJECT_NAME);
  for (const char* const needed : {SZK_HASH, SZK_PROJECT_NAME}) {
    if (columns[needed].empty()) members.Refuse(needed, "is missing");
  }
  columns[SZK_ENABLED_] = members.Flag(SZK_ENABLED_, true) ? "1" : "0";
  columns[SZK_OWNER_UID] = std::to_string(Owner(members));
  columns[SZK_START_AT] = std::to_string(members.Number(SZK_START_AT, kLastMoment));
  columns[SZK_EXPIRE_AT] = std::to_string(members.Number(SZK_EXPIRE_AT, kLastMoment));
  columns[SZK_EXPIRE_TIMES] = std::to_string(members.Number(SZK_EXPIRE_TIMES, kMostUses));
  columns[SZK_USE_COUNT] = std::to_string(members.Number(SZK_USE_COUNT, kMostUses));
  columns[SZK_AUTO_GC] = members.Flag(SZK_AUTO_GC, true) ? "1" : "0";
  Json::Value data = Data(members);
  reason = members.Reason();
  if (!reason.empty()) return false;

  line.without_password = data[SZK_PROTECT_TYPE] == SZK_PROTECT_PROTECT_PASSWORD &&
                          data[SZK_PROTECT_PASSWORD] == "";
  if (line.without_password) data[SZK_PROTECT_TYPE] = SZK_PROTECT_PROTECT_NONE;
  columns[SZK_DATA] = JsonText(data);
  if (!ReadAsRow(db, columns, line.link) ||
      (line.without_password && !CloseWithoutPassword(line.link))) {
    reason = "it cannot be stored as a link";
    return false;
  }
  return true;
}

}  // namespace command
