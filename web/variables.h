#pragma once

#include <map>
#include <string>

namespace web {

/// The variables that a server passes with a request (RFC 3875), copied.
class Variables {
 public:
  Variables() = default;
  /// Copies `NAME=VALUE` texts, up to a null pointer.
  explicit Variables(const char* const* texts);

  /// The value; empty when the variable is not set.
  const std::string& Get(const std::string& name) const;
  bool Has(const std::string& name) const { return values_.count(name) != 0; }
  /// Whether a variable is there twice: some servers make the same one of the headers
  /// X-Forwarded-For, which a proxy writes, and X_Forwarded_For of a visitor.
  bool repeats() const { return repeats_; }
  /// The length of all names and values.
  size_t size() const { return size_; }

 private:
  std::map<std::string, std::string> values_;
  bool repeats_ = false;
  size_t size_ = 0;
};

/// Removes everything from the environment of the process except the time zone and what
/// the dynamic linker needs, so that nothing of a request reaches the platform.
void ClearEnvironment();

}  // namespace web
