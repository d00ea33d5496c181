#include "parameters.h"

#include <json/reader.h>

#include <algorithm>
#include <charconv>
#include <memory>

#include "utf8.h"
#include "utils.h"

namespace webapi {

namespace {

// What is stored stands some levels deeper than here, and must still be read back.
constexpr int kDeepestJson = 100;

// The upper bits of the two halves of a character beyond U+FFFF.
constexpr unsigned int kHighHalf = 0xd800 >> 10;
constexpr unsigned int kLowHalf = 0xdc00 >> 10;

/// The four hex digits of an escaped character that begins there; 0 when none does.
unsigned int EscapedUnit(const std::string& text, std::size_t begin) {
  unsigned int unit = 0;
  if (text.compare(begin, 2, "\\u") == 0) {
    const char* const digits = text.data() + begin + 2;
    std::from_chars(digits, std::min(digits + 4, text.data() + text.size()), unit, 16);
  }
  return unit;
}

/// Whether an escape is one half of a character without the other.  The parser would make
/// another character of it.
bool HasHalfCharacter(const std::string& text) {
  std::size_t next = 0;
  for (std::size_t i = text.find('\\'); i < text.size(); i = text.find('\\', next)) {
    const unsigned int half = EscapedUnit(text, i) >> 10;
    const bool whole = half == kHighHalf && i + 6 < text.size() &&
                       EscapedUnit(text, i + 6) >> 10 == kLowHalf;
    if (!whole && (half == kHighHalf || half == kLowHalf)) {
      return true;
    }
    next = i + (whole ? 12 : 2);
  }
  return false;
}

bool ParseJson(const std::string& text, Json::Value& out) {
  if (HasHalfCharacter(text)) {
    return false;
  }
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["stackLimit"] = kDeepestJson;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  try {
    return reader->parse(text.data(), text.data() + text.size(), &out, nullptr);
  } catch (const Json::Exception&) {
    return false;  // nested too deep
  }
}

std::string Trim(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t\n");
  if (begin == std::string::npos) {
    return "";
  }
  return text.substr(begin, text.find_last_not_of(" \t\n") - begin + 1);
}

bool NamesFromJson(const std::string& text, std::vector<std::string>& out) {
  Json::Value array;
  if (!ParseJson(text, array) || !array.isArray()) {
    return false;
  }
  std::vector<std::string> names;
  for (const Json::Value& element : array) {
    if (!element.isString() || element.asString().empty()) {
      return false;
    }
    names.push_back(element.asString());
  }
  out = names;
  return true;
}

}  // namespace

bool Parameters::Add(const std::string& argument) {
  const std::size_t equals = argument.find('=');
  if (equals == 0 || equals == std::string::npos || !IsUtf8(argument)) {
    return false;
  }
  return values_.emplace(argument.substr(0, equals), argument.substr(equals + 1)).second;
}

std::vector<std::string> Parameters::names() const {
  std::vector<std::string> names;
  for (const auto& [name, value] : values_) {
    names.push_back(name);
  }
  return names;
}

bool Parameters::Text(const char* name, std::string& out) {
  const auto found = values_.find(name);
  if (found == values_.end()) {
    return false;
  }
  out = found->second;
  return true;
}

bool Parameters::Flag(const char* name, bool& out) {
  std::string text;
  if (!Text(name, text)) {
    return false;
  }
  const bool yes = text == "true" || text == "1";
  if (!yes && text != "false" && text != "0") {
    Fail(kBadParameter, std::string(name) + " is true or false");
    return false;
  }
  out = yes;
  return true;
}

bool Parameters::Number(const char* name, long low, long high, long& out) {
  std::string text;
  if (!Text(name, text)) {
    return false;
  }
  long number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number < low || number > high) {
    Fail(kBadParameter, std::string(name) + " is a whole number from " +
                            std::to_string(low) + " to " + std::to_string(high));
    return false;
  }
  out = number;
  return true;
}

bool Parameters::Object(const char* name, Json::Value& out) {
  std::string text;
  if (!Text(name, text)) {
    return false;
  }
  Json::Value value;
  if (!ParseJson(text, value) || !value.isObject()) {
    Fail(kBadParameter,
         std::string(name) + " is the text of a JSON object, nested less than 100 deep");
    return false;
  }
  out = value;
  return true;
}

bool Parameters::Names(const char* name, std::vector<std::string>& out) {
  std::string text;
  if (!Text(name, text)) {
    return false;
  }
  text = Trim(text);
  std::vector<std::string> names;
  if (!text.empty() && text.front() == '[') {
    if (!NamesFromJson(text, names)) {
      Fail(kBadParameter, std::string(name) + " is no JSON array of names");
      return false;
    }
  } else {
    std::vector<std::string> pieces;
    VEXO::sharing::StringExplode(pieces, text, ",");
    for (const std::string& piece : pieces) {
      const std::string trimmed = Trim(piece);
      if (!trimmed.empty()) {
        names.push_back(trimmed);
      }
    }
  }
  out = names;
  return true;
}

bool Parameters::User(const char* name, unsigned int& uid) {
  std::string text;
  if (!Text(name, text)) {
    return false;
  }
  if (!VEXO::sharing::UserToUID(text, uid)) {
    Fail(kBadParameter, std::string(name) + ": no such user: " + text);
    return false;
  }
  return true;
}

void Parameters::Require(const char* name) {
  if (!Has(name)) {
    Fail(kMissingParameter, std::string(name) + " is required");
  }
}

void Parameters::Fail(const char* code, const std::string& message) {
  if (!failure_) {
    failure_ = {code, message};
  }
}

}  // namespace webapi
