#pragma once

#include <json/value.h>

#include <map>
#include <string>
#include <vector>

#include "answer.h"

namespace webapi {

/// The flag with which a call asks for a fresh password.
inline constexpr char kGeneratePassword[] = "generate_password";

/// The parameters of a call, read one by one.  A reader answers true when the parameter
/// was given and read, and sets its output only then.  The first thing wrong with any of
/// them is kept as the failure, so a method reads all it wants and then looks once.
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
  /// Names separated by commas, or the text of a JSON array of texts.  Blanks around a
  /// name and empty names between commas are left out.
  bool Names(const char* name, std::vector<std::string>& out);
  /// The name of an existing user, as his id.
  bool User(const char* name, unsigned int& uid);

  /// Notes that the parameter is required, when it is not given.
  void Require(const char* name);
  /// Notes what is wrong, unless something was wrong before.
  void Fail(const char* code, const std::string& message);
  const Failure& failure() const { return failure_; }

 private:
  std::map<std::string, std::string> values_;
  Failure failure_;
};

}  // namespace webapi
