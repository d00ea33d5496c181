#pragma once

#include <json/value.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace admin {

/// Parses JSON strictly by RFC 8259: UTF-8, no repeated names, integers of 64 bits,
/// nested less than 500 deep, which the library can read back from a link.  False, with
/// `reason` and `out` unchanged, for anything else.
bool ParseJson(const std::string& text, Json::Value& out, std::string& reason);
/// The same for an object; false for any other value.
bool ParseJsonObject(const std::string& text, Json::Value& out, std::string& reason);

/// The value as JSON in one line of valid UTF-8, or of ASCII.  A real number has the
/// fewest digits that read back as the same number.
std::string JsonText(const Json::Value& value, bool ascii = false);

/// Whether a text is valid UTF-8.
bool IsUtf8(const std::string& text);

/// An array of the values.
template <class Values = std::vector<std::string>>
Json::Value JsonArray(const Values& values) {
  Json::Value array(Json::arrayValue);
  for (const auto& value : values) array.append(value);
  return array;
}

/// An object of the members.
inline Json::Value JsonObject(
    std::initializer_list<std::pair<const char*, Json::Value>> members) {
  Json::Value object(Json::objectValue);
  for (const auto& [name, value] : members) object[name] = value;
  return object;
}

}  // namespace admin
