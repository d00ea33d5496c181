#include "record/entry_data.h"

#include <utility>

#include "utils/json_scanner.h"
#include "utils/json_text.h"
#include "utils/json_write.h"

namespace VEXO::sharing::record {

namespace {

// On purpose these functions accept any text: an unknown text is read as the strictest
// protection, as the redirect that always applies, and as MD5.

Entry::ProtectType ProtectTypeFromText(const std::string& text) {
  if (text == SZK_PROTECT_PROTECT_NONE) return Entry::PROTECT_NONE;
  return text == SZK_PROTECT_PROTECT_PASSWORD ? Entry::PROTECT_PASSWORD
                                              : Entry::PROTECT_USER;
}

Entry::RedirectType RedirectTypeFromText(const std::string& text) {
  if (text == SZK_REDIRECT_REDIRECT_NONE) return Entry::REDIRECT_NONE;
  return text == SZK_REDIRECT_REDIRECT_URLPARAM ? Entry::REDIRECT_URLPARAM
                                                : Entry::REDIRECT_ALWAYS;
}

Entry::PasswordEncryptAlgo AlgoFromText(const std::string& text) {
  return text == SZK_PROTECT_PASSWORD_ALGO_DEFAULT ? Entry::ENCRYPT_ALGO_DEFAULT
                                                   : Entry::ENCRYPT_ALGO_MD5;
}

constexpr size_t kUsualLength = 500;  // of the data column; more is possible

/// Passes the members of the data column to a writer or a reader, in the order in which
/// JsonText writes them, each with the text before its value.  Stops at the first
/// failure.
template <class Form, class Data>
bool EachMember(Form& form, Data& data) {
  return form.Member(R"({"app":)", data.app_) &&
         form.Member(R"(,"enable_match_ip":)", data.enable_match_ip_) &&
         form.Member(R"(,"private_data":)", data.private_data_) &&
         form.Member(R"(,"protect_extra_groups":)", data.protect_extra_groups_) &&
         form.Member(R"(,"protect_extra_users":)", data.protect_extra_users_) &&
         form.Member(R"(,"protect_gids":)", data.protect_gids_) &&
         form.Member(R"(,"protect_password":)", data.protect_password_) &&
         form.Member(R"(,"protect_password_algo":)", data.protect_password_algo_) &&
         form.Member(R"(,"protect_password_salt":)", data.protect_password_salt_) &&
         form.Member(R"(,"protect_title":)", data.protect_title_) &&
         form.Member(R"(,"protect_type":)", data.protect_type_) &&
         form.Member(R"(,"protect_uids":)", data.protect_uids_) &&
         form.Member(R"(,"redirect_type":)", data.redirect_type_) &&
         form.Member(R"(,"redirect_uri":)", data.redirect_uri_);
}

class DataWriter {
 public:
  DataWriter() { text_.reserve(kUsualLength); }

  template <class T>
  bool Member(std::string_view before, const T& value) {
    text_ += before;
    return Write(value);
  }
  std::string Finish() {
    text_ += '}';
    return std::move(text_);
  }

 private:
  bool Write(const LazyJson& value) { return value.AppendTo(text_); }
  bool Write(bool value) {
    text_ += value ? "true" : "false";
    return true;
  }
  bool Write(std::string_view value) {
    AppendJsonString(value, text_);
    return true;
  }
  bool Write(unsigned int value) {
    text_ += std::to_string(value);
    return true;
  }
  bool Write(Entry::ProtectType type) {
    return Write(std::string_view(ProtectTypeText(type)));
  }
  bool Write(Entry::RedirectType type) {
    return Write(std::string_view(RedirectTypeText(type)));
  }
  bool Write(Entry::PasswordEncryptAlgo algo) {
    return Write(std::string_view(AlgoText(algo)));
  }
  template <class T>
  bool Write(const std::vector<T>& values) {
    const char* separator = "";
    text_ += '[';
    for (const T& value : values) {
      text_ += separator;
      Write(value);
      separator = ",";
    }
    text_ += ']';
    return true;
  }

  std::string text_;
};

class DataReader {
 public:
  explicit DataReader(std::string_view text) : scanner_(text) {}

  template <class T>
  bool Member(std::string_view before, T& value) {
    return scanner_.Skip(before) && Read(value);
  }
  bool End() { return scanner_.Skip("}") && scanner_.AtEnd(); }

 private:
  bool Read(bool& value) { return scanner_.Read(value); }
  bool Read(unsigned int& value) { return scanner_.Read(value); }
  bool Read(std::string& value) { return scanner_.Read(value); }
  bool Read(LazyJson& value) {
    std::string_view object;
    if (!scanner_.ReadObject(object)) return false;
    value = LazyJson::FromObject(object);
    return true;
  }
  bool Read(Entry::ProtectType& type) { return ReadText(type, ProtectTypeFromText); }
  bool Read(Entry::RedirectType& type) { return ReadText(type, RedirectTypeFromText); }
  bool Read(Entry::PasswordEncryptAlgo& algo) { return ReadText(algo, AlgoFromText); }
  template <class T>
  bool ReadText(T& value, T (*from_text)(const std::string& text)) {
    std::string text;
    if (!scanner_.Read(text)) return false;
    value = from_text(text);
    return true;
  }
  template <class T>
  bool Read(std::vector<T>& values) {
    if (!scanner_.Skip("[")) return false;
    if (scanner_.Skip("]")) return true;
    do {
      values.emplace_back();
      if (!scanner_.Read(values.back())) return false;
    } while (scanner_.Skip(","));
    return scanner_.Skip("]");
  }

  JsonScanner scanner_;
};

/// Returns an array, or null for an empty one; throws, like the conversions, for any
/// other value.
const Json::Value& ListOrNull(const Json::Value& value) {
  if (!value.isArray() && !value.isNull()) {
    Json::throwLogicError("not a list");
  }
  return value;
}

std::vector<unsigned int> IdsFromJson(const Json::Value& array) {
  std::vector<unsigned int> ids;
  for (const Json::Value& element : ListOrNull(array)) {
    ids.push_back(element.asUInt());
  }
  return ids;
}

std::vector<std::string> NamesFromJson(const Json::Value& array) {
  std::vector<std::string> names;
  for (const Json::Value& element : ListOrNull(array)) {
    names.push_back(element.asString());
  }
  return names;
}

/// Throws Json::Exception when a member has the wrong type.
void FromObject(const Json::Value& object, EntryData& data) {
  data.enable_match_ip_ = object[SZK_ENABLE_MATCH_IP].asBool();
  data.protect_type_ = ProtectTypeFromText(object[SZK_PROTECT_TYPE].asString());
  data.protect_title_ = object[SZK_PROTECT_TITLE].asString();
  data.protect_password_ = object[SZK_PROTECT_PASSWORD].asString();
  data.protect_password_algo_ =
      AlgoFromText(object[SZK_PROTECT_PASSWORD_ALGO].asString());
  data.protect_password_salt_ = object[SZK_PROTECT_PASSWORD_SALT].asString();
  data.protect_uids_ = IdsFromJson(object[SZK_PROTECT_UIDS]);
  data.protect_extra_users_ = NamesFromJson(object[SZK_PROTECT_EXTRA_USERS]);
  data.protect_gids_ = IdsFromJson(object[SZK_PROTECT_GIDS]);
  data.protect_extra_groups_ = NamesFromJson(object[SZK_PROTECT_EXTRA_GROUPS]);
  data.redirect_type_ = RedirectTypeFromText(object[SZK_REDIRECT_TYPE].asString());
  data.redirect_uri_ = object[SZK_REDIRECT_URI].asString();
  data.private_data_ = object.get(SZK_PRIVATE_DATA, Json::Value(Json::objectValue));
  data.app_ = object[SZK_APP];
}

}  // namespace

const char* ProtectTypeText(Entry::ProtectType type) {
  switch (type) {
    case Entry::PROTECT_PASSWORD:
      return SZK_PROTECT_PROTECT_PASSWORD;
    case Entry::PROTECT_USER:
      return SZK_PROTECT_PROTECT_USER;
    default:
      return SZK_PROTECT_PROTECT_NONE;
  }
}

const char* RedirectTypeText(Entry::RedirectType type) {
  switch (type) {
    case Entry::REDIRECT_URLPARAM:
      return SZK_REDIRECT_REDIRECT_URLPARAM;
    case Entry::REDIRECT_ALWAYS:
      return SZK_REDIRECT_REDIRECT_ALWAYS;
    default:
      return SZK_REDIRECT_REDIRECT_NONE;
  }
}

const char* AlgoText(Entry::PasswordEncryptAlgo algo) {
  return algo == Entry::ENCRYPT_ALGO_DEFAULT ? SZK_PROTECT_PASSWORD_ALGO_DEFAULT
                                             : SZK_PROTECT_PASSWORD_ALGO_MD5;
}

bool WriteDataFast(const EntryData& data, std::string& text) {
  DataWriter writer;
  if (!EachMember(writer, data)) return false;
  text = writer.Finish();
  return true;
}

bool ReadDataFast(std::string_view text, EntryData& data) {
  DataReader reader(text);
  EntryData read;
  if (!EachMember(reader, read) || !reader.End()) return false;
  data = std::move(read);
  return true;
}

std::string WriteDataAsJson(const EntryData& data) {
  Json::Value object(Json::objectValue);
  object[SZK_ENABLE_MATCH_IP] = data.enable_match_ip_;
  object[SZK_PROTECT_TYPE] = ProtectTypeText(data.protect_type_);
  object[SZK_PROTECT_TITLE] = data.protect_title_;
  object[SZK_PROTECT_PASSWORD] = data.protect_password_;
  object[SZK_PROTECT_PASSWORD_ALGO] = AlgoText(data.protect_password_algo_);
  object[SZK_PROTECT_PASSWORD_SALT] = data.protect_password_salt_;
  object[SZK_PROTECT_UIDS] = JsonArray(data.protect_uids_);
  object[SZK_PROTECT_EXTRA_USERS] = JsonArray(data.protect_extra_users_);
  object[SZK_PROTECT_GIDS] = JsonArray(data.protect_gids_);
  object[SZK_PROTECT_EXTRA_GROUPS] = JsonArray(data.protect_extra_groups_);
  object[SZK_REDIRECT_TYPE] = RedirectTypeText(data.redirect_type_);
  object[SZK_REDIRECT_URI] = data.redirect_uri_;
  object[SZK_APP] = data.app_.Get();
  object[SZK_PRIVATE_DATA] = data.private_data_.Get();
  return JsonText(object);
}

bool ReadDataAsJson(const std::string& text, EntryData& data) {
  Json::Value object;
  if (!ParseJson(text, object) || !object.isObject()) return false;
  try {
    FromObject(object, data);
    return true;
  } catch (const Json::Exception&) {
    return false;
  }
}

std::string DataText(const EntryData& data) {
  std::string text;
  return WriteDataFast(data, text) ? text : WriteDataAsJson(data);
}

bool ReadData(std::string_view text, EntryData& data) {
  return ReadDataFast(text, data) || ReadDataAsJson(std::string(text), data);
}

}  // namespace VEXO::sharing::record
