#include "parameters.h"

#include <utf8cpp/utf8.h>

#include "admin/json_text.h"
#include "base/number.h"
#include "base/text.h"
#include "utils.h"

namespace webapi {

namespace {

bool NamesFromJson(const std::string& text, std::vector<std::string>& out,
                   std::string& reason) {
  Json::Value array;
  if (!admin::ParseJson(text, array, reason)) return false;
  std::vector<std::string> names;
  for (const Json::Value& element : array) {
    if (!element.isString() || element.asString().empty()) {
      reason = "a name must be a string that is not empty";
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
  if (equals == 0 || equals == std::string::npos || !utf8::is_valid(argument)) {
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
    Fail(admin::kBadParameter, std::string(name) + " must be true or false");
    return false;
  }
  out = yes;
  return true;
}

bool Parameters::Number(const char* name, long low, long high, long& out) {
  std::string text;
  if (!Text(name, text)) return false;
  const std::optional<long> number = VEXO::base::ParseNumber(text, low, high);
  if (!number) {
    Fail(admin::kBadParameter, std::string(name) + " must be a whole number from " +
                                   std::to_string(low) + " to " + std::to_string(high));
    return false;
  }
  out = *number;
  return true;
}

bool Parameters::Object(const char* name, Json::Value& out) {
  std::string text;
  if (!Text(name, text)) return false;
  Json::Value value;
  std::string reason;
  if (!admin::ParseJsonObject(text, value, reason)) {
    Fail(admin::kBadParameter, std::string(name) + " must be a JSON object: " + reason);
    return false;
  }
  out = value;
  return true;
}

bool Parameters::Names(const char* name, std::vector<std::string>& out) {
  std::string text;
  if (!Text(name, text)) return false;
  text = VEXO::base::Trim(text);
  std::vector<std::string> names;
  if (!text.empty() && text.front() == '[') {
    std::string reason;
    if (!NamesFromJson(text, names, reason)) {
      Fail(admin::kBadParameter,
           std::string(name) + " must be a JSON array of names: " + reason);
      return false;
    }
  } else {
    for (const std::string& piece : VEXO::base::Split(text, ",")) {
      if (!piece.empty()) names.push_back(piece);
    }
  }
  out = names;
  return true;
}

bool Parameters::User(const char* name, unsigned int& uid) {
  std::string text;
  if (!Text(name, text)) return false;
  if (!VEXO::sharing::UserToUID(text, uid)) {
    Fail(admin::kUnknownUser, std::string(name) + ": user not found: " + text);
    return false;
  }
  return true;
}

void Parameters::Require(const char* name) {
  if (!Has(name)) Fail(admin::kMissingParameter, std::string(name) + " is required");
}

void Parameters::Fail(const char* code, const std::string& message) {
  if (!error_) error_ = {code, message, ""};
}

}  // namespace webapi
