#include <limits>
#include <optional>

#include "keys.h"
#include "parameters.h"

namespace webapi {

namespace {

using namespace VEXO::sharing;  // the keys
using admin::LinkSettings;

/// Sets `out` when `read(value)` read the parameter.
template <class T, class Read>
void ReadInto(std::optional<T>& out, Read read) {
  T value{};
  if (read(value)) out = value;
}

/// A word for an enumeration, which `parse` knows.
template <class T>
void ReadWord(Parameters& parameters, const char* name, std::optional<T>& out,
              bool (*parse)(const std::string&, T&), const char* words) {
  std::string word;
  T value{};
  if (!parameters.Text(name, word)) return;
  if (parse(word, value)) {
    out = value;
  } else {
    parameters.Fail(admin::kBadParameter, std::string(name) + " must be " + words);
  }
}

}  // namespace

std::vector<std::string> SettingNames() {
  return {SZK_PROJECT_NAME,  SZK_OWNER_USER,      SZK_APP,           SZK_PRIVATE_DATA,
          SZK_ENABLED_,      SZK_START_AT,        SZK_EXPIRE_AT,     SZK_EXPIRE_TIMES,
          SZK_AUTO_GC,       SZK_ENABLE_MATCH_IP, SZK_PROTECT_TYPE,  SZK_PROTECT_TITLE,
          SZK_PROTECT_USERS, SZK_PROTECT_GROUPS,  SZK_REDIRECT_TYPE, SZK_REDIRECT_URI,
          kGeneratePassword};
}

LinkSettings Parameters::Settings(admin::Secret& password) {
  LinkSettings settings;
  const auto text = [this](const char* name, std::optional<std::string>& out) {
    ReadInto(out, [&](std::string& value) { return Text(name, value); });
  };
  const auto object = [this](const char* name, std::optional<Json::Value>& out) {
    ReadInto(out, [&](Json::Value& value) { return Object(name, value); });
  };
  const auto flag = [this](const char* name, std::optional<bool>& out) {
    ReadInto(out, [&](bool& value) { return Flag(name, value); });
  };
  const auto number = [this](const char* name, long most, auto& out) {
    long value = 0;
    if (Number(name, 0, most, value)) out = value;
  };
  const auto names = [this](const char* name,
                            std::optional<std::vector<std::string>>& out) {
    ReadInto(out, [&](std::vector<std::string>& value) { return Names(name, value); });
  };
  text(SZK_PROJECT_NAME, settings.project);
  unsigned int owner = UID_ERR;
  User(SZK_OWNER_USER, owner);  // by name only
  text(SZK_OWNER_USER, settings.owner);
  object(SZK_APP, settings.app);
  object(SZK_PRIVATE_DATA, settings.private_data);
  number(SZK_START_AT, admin::kLatestTime, settings.start_at);
  number(SZK_EXPIRE_AT, admin::kLatestTime, settings.expire_at);
  number(SZK_EXPIRE_TIMES, std::numeric_limits<int>::max(), settings.expire_times);
  flag(SZK_ENABLED_, settings.enabled);
  flag(SZK_AUTO_GC, settings.auto_gc);
  flag(SZK_ENABLE_MATCH_IP, settings.match_ip);
  text(SZK_PROTECT_TITLE, settings.title);
  names(SZK_PROTECT_USERS, settings.users);
  names(SZK_PROTECT_GROUPS, settings.groups);
  ReadWord(*this, SZK_PROTECT_TYPE, settings.protect_type, admin::ParseProtectType,
           "none, password or user");
  ReadWord(*this, SZK_REDIRECT_TYPE, settings.redirect_type, admin::ParseRedirectType,
           "none, url_param or always");
  text(SZK_REDIRECT_URI, settings.redirect_uri);
  bool generate = false;
  Flag(kGeneratePassword, generate);
  if (generate && !password.Generate()) {
    Fail(admin::kFailed, "cannot generate a password: no random numbers");
  }
  if (generate) settings.password = &password;
  return settings;
}

}  // namespace webapi
