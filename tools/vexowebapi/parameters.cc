#include "parameters.h"

#include <utf8cpp/utf8.h>

#include "admin/json_text.h"
#include "base/number.h"
#include "base/text.h"
#include "utils.h"

namespace webapi {

void Parameters::Add(const std::string& argument) {
  const size_t equals = argument.find('=');
  const bool good =
      equals != 0 && equals != std::string::npos && utf8::is_valid(argument) &&
      values_.emplace(argument.substr(0, equals), argument.substr(equals + 1)).second;
  if (!good) Fail("an argument must be NAME=VALUE in UTF-8, each name once", "bad_call");
}

std::optional<std::string> Parameters::Text(const std::string& name) {
  read_.insert(name);
  const auto found = values_.find(name);
  return found == values_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<bool> Parameters::Flag(const std::string& name) {
  const std::optional<std::string> text = Text(name);
  if (!text) return std::nullopt;
  if (text == "true" || text == "1") return true;
  if (text == "false" || text == "0") return false;
  return Fail(name + " must be true or false");
}

std::optional<long> Parameters::Number(const std::string& name, long low, long high) {
  const std::optional<std::string> text = Text(name);
  if (!text) return std::nullopt;
  const std::optional<long> number = VEXO::base::ParseNumber(*text, low, high);
  if (number) return number;
  return Fail(name + " must be a whole number from " + std::to_string(low) + " to " +
              std::to_string(high));
}

std::optional<Json::Value> Parameters::Object(const std::string& name) {
  const std::optional<std::string> text = Text(name);
  Json::Value object;
  std::string reason;
  if (!text) return std::nullopt;
  if (admin::ParseJsonObject(*text, object, reason)) return object;
  return Fail(name + " must be a JSON object: " + reason);
}

std::optional<std::vector<std::string>> Parameters::Names(const std::string& name) {
  const std::string text = VEXO::base::Trim(Text(name).value_or(""));
  std::vector<std::string> names;
  if (values_.count(name) == 0) return std::nullopt;
  if (text.empty() || text.front() != '[') {
    for (const std::string& piece : VEXO::base::Split(text, ",")) {
      if (!piece.empty()) names.push_back(piece);
    }
    return names;
  }
  Json::Value array;
  std::string reason;
  admin::ParseJson(text, array, reason);
  for (const Json::Value& element : array) {
    names.push_back(element.isString() ? element.asString() : "");
    if (names.back().empty()) reason = "a name must be a string that is not empty";
  }
  if (reason.empty()) return names;
  return Fail(name + " must be a JSON array of names: " + reason);
}

std::optional<unsigned int> Parameters::User(const std::string& name) {
  const std::optional<std::string> text = Text(name);
  unsigned int uid = 0;
  if (!text) return std::nullopt;
  if (VEXO::sharing::UserToUID(*text, uid)) return uid;
  return Fail(name + ": user not found: " + *text, admin::kUnknownUser);
}

std::string Parameters::Required(const std::string& name) {
  const std::optional<std::string> text = Text(name);
  if (!text) Fail(name + " is required", admin::kMissingParameter);
  return text.value_or("");
}

std::nullopt_t Parameters::Fail(const std::string& message, const std::string& code) {
  if (!error_) error_ = {code, message, ""};
  return std::nullopt;
}

Error Parameters::Check() const {
  for (const auto& [name, value] : values_) {
    // It could carry a password or what is stored of one.
    if (name != kGeneratePassword && name.find("password") != std::string::npos) {
      return {"secret_parameter",
              name +
                  ": secrets are not accepted as arguments, which every user of the "
                  "machine can read",
              "use generate_password=true"};
    }
    if (read_.count(name) == 0) {
      return {"unknown_parameter",
              "unknown parameter of " + values_.at("method") + ": " + name, ""};
    }
  }
  return error_;
}

}  // namespace webapi
