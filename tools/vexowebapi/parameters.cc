#include "parameters.h"

#include <charconv>

#include "strict_json.h"
#include "trim.h"
#include "utf8.h"
#include "utils.h"

namespace webapi {

namespace {

bool NamesFromJson(const std::string& text, std::vector<std::string>& out,
                   std::string& reason) {
  Json::Value array;
  if (!tools::ParseStrictJson(text, array, reason)) return false;
  std::vector<std::string> names;
  for (const Json::Value& element : array) {
    if (!element.isString() || element.asString().empty()) {
      reason = "a name is a text that is not empty";
      return false;
    }
    names.push_back(element.asString());
  }
  out = names;
  return true;
}

}  // namespace

bool Parameters::Add(const std::string& argument) {
  const size_t equals = argument.find('=');
  if (equals == 0 || equals == std::string::npos || !tools::IsUtf8(argument)) {
    return false;
  }
  return values_.emplace(argument.substr(0, equals), argument.substr(equals + 1)).second;
}

std::vector<std::string> Parameters::names() const {
  std::vector<std::string> names;
  for (const auto& [name, value] : values_) names.push_back(name);
  return names;
}

bool Parameters::Text(const char* name, std::string& out) {
  const auto found = values_.find(name);
  if (found == values_.end()) return false;
  out = found->second;
  return true;
}

bool Parameters::Flag(const char* name, bool& out) {
  std::string text;
  if (!Text(name, text)) return false;
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
  if (!Text(name, text)) return false;
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
  if (!Text(name, text)) return false;
  Json::Value value;
  std::string reason;
  if (!tools::ParseStrictObject(text, value, reason)) {
    Fail(kBadParameter, std::string(name) + " does not read as a JSON object: " + reason);
    return false;
  }
  out = value;
  return true;
}

bool Parameters::Names(const char* name, std::vector<std::string>& out) {
  std::string text;
  if (!Text(name, text)) return false;
  text = tools::Trim(text);
  std::vector<std::string> names;
  if (!text.empty() && text.front() == '[') {
    std::string reason;
    if (!NamesFromJson(text, names, reason)) {
      Fail(kBadParameter, std::string(name) + " is no JSON array of names: " + reason);
      return false;
    }
  } else {
    std::vector<std::string> pieces;
    VEXO::sharing::StringExplode(pieces, text, ",");
    for (const std::string& piece : pieces) {
      const std::string trimmed = tools::Trim(piece);
      if (!trimmed.empty()) names.push_back(trimmed);
    }
  }
  out = names;
  return true;
}

bool Parameters::User(const char* name, unsigned int& uid) {
  std::string text;
  if (!Text(name, text)) return false;
  if (!VEXO::sharing::UserToUID(text, uid)) {
    Fail(kBadParameter, std::string(name) + ": no such user: " + text);
    return false;
  }
  return true;
}

void Parameters::Require(const char* name) {
  if (!Has(name)) Fail(kMissingParameter, std::string(name) + " is required");
}

void Parameters::Fail(const char* code, const std::string& message) {
  if (!failure_) failure_ = {code, message};
}

}  // namespace webapi
