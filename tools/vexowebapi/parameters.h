#pragma once

#include <json/value.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "admin/error.h"

namespace webapi {

using admin::Error;

/// The flag with which a call requests a new password.
inline constexpr char kGeneratePassword[] = "generate_password";

/// The parameters of a call, read one by one.  A reader returns nothing when the
/// parameter is not given or is wrong.  The first fault is kept as the error, so a method
/// reads all it needs and then checks once.  A name that no reader asks for is unknown.
class Parameters {
 public:
  /// Adds NAME=VALUE; anything else is a fault, a repeated name included.
  void Add(const std::string& argument);

  std::optional<std::string> Text(const std::string& name);
  /// true, false, 1 or 0.
  std::optional<bool> Flag(const std::string& name);
  /// A whole decimal number from `low` to `high`.
  std::optional<long> Number(const std::string& name, long low, long high);
  /// The text of a JSON object.
  std::optional<Json::Value> Object(const std::string& name);
  /// Names separated by commas, or the text of a JSON array of strings.  Blanks around a
  /// name and empty names between commas are ignored.
  std::optional<std::vector<std::string>> Names(const std::string& name);
  /// The name of an existing user, as the id.
  std::optional<unsigned int> User(const std::string& name);
  /// The text of a required parameter; empty when it is not given, which is a fault.
  std::string Required(const std::string& name);

  /// Sets the error unless there is one already.  Returns nothing, as the readers do.
  std::nullopt_t Fail(const std::string& message,
                      const std::string& code = admin::kBadParameter);
  /// The first fault of what has been read.
  const Error& error() const { return error_; }
  /// The same after the last reader, where a secret or an unknown name comes first.
  Error Check() const;

 private:
  std::map<std::string, std::string> values_;
  std::set<std::string> read_;
  Error error_;
};

}  // namespace webapi
