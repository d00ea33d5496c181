#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace web {

/// Decodes the `%XX` escapes of a part of a URL, once.  Nothing for a broken escape and
/// for an encoded NUL byte.
std::optional<std::string> DecodePart(std::string_view text);

/// The parameters of a query or of a form, in the form application/x-www-form-urlencoded.
/// A form may contain passwords, so the values are wiped at the end.
class Parameters {
 public:
  Parameters() = default;
  Parameters(const Parameters&) = delete;
  Parameters& operator=(const Parameters&) = delete;
  Parameters(Parameters&&) = default;
  Parameters& operator=(Parameters&&) = default;
  ~Parameters();

  /// Nothing for a broken escape, a NUL byte, or more than `most` parameters.
  static std::optional<Parameters> Parse(std::string_view text, size_t most = 64);

  bool Has(const std::string& name) const { return Find(name) != nullptr; }
  /// The value of the first parameter with this name; null when there is none.
  const std::string* Find(const std::string& name) const;
  /// The same; empty when there is none.
  std::string Get(const std::string& name) const;
  /// The values of all parameters with this name.
  std::vector<std::string> All(const std::string& name) const;

 private:
  std::vector<std::pair<std::string, std::string>> pairs_;
};

}  // namespace web
