#pragma once

#include <json/value.h>

#include <map>
#include <string>
#include <vector>

#include "admin/link_settings.h"
#include "response.h"

namespace webapi {

/// The flag with which a call requests a new password.
inline constexpr char kGeneratePassword[] = "generate_password";

/// The parameters of a call, read one by one.  A reader returns true when the parameter
/// was given and is right, and sets its output only then.  The first fault of any of them
/// is kept as the error, so a method reads all it needs and then checks once.
class Parameters {
 public:
  /// Adds NAME=VALUE; false for anything else, a repeated name included.
  bool Add(const std::string& argument);
  std::vector<std::string> names() const;
  bool Has(const std::string& name) const { return values_.count(name) != 0; }

  bool Text(const char* name, std::string& out);
  /// true, false, 1 or 0.
  bool Flag(const char* name, bool& out);
  /// A whole decimal number from `low` to `high`.
  bool Number(const char* name, long low, long high, long& out);
  /// The text of a JSON object.
  bool Object(const char* name, Json::Value& out);
  /// Names separated by commas, or the text of a JSON array of strings.  Blanks around a
  /// name and empty names between commas are ignored.
  bool Names(const char* name, std::vector<std::string>& out);
  /// The name of an existing user, as the id.
  bool User(const char* name, unsigned int& uid);

  /// Reads the settings of a link.  A requested password is generated into `password`.
  admin::LinkSettings Settings(admin::Secret& password);

  /// Sets the error when a required parameter is not given.
  void Require(const char* name);
  /// Sets the error unless there is one already.
  void Fail(const char* code, const std::string& message);
  const Error& error() const { return error_; }

 private:
  std::map<std::string, std::string> values_;
  Error error_;
};

/// The parameters that Settings reads.
std::vector<std::string> SettingNames();

}  // namespace webapi
