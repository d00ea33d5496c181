#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace web {

/// The value of a header with parameters: `form-data; name="file"`.
struct HeaderValue {
  std::string word;  ///< before the parameters, in lower case
  /// Names in lower case; the first of several with one name counts.
  std::map<std::string, std::string> parameters;
};

/// Parses the value of Content-Type or Content-Disposition.  A quotation mark that ends
/// the whole text ends its parameter also behind a backslash: browsers do not escape a
/// backslash at the end of a file's name.  Nothing for a malformed value.
std::optional<HeaderValue> ParseHeaderValue(std::string_view text);

/// The boundary of the Content-Type multipart/form-data (RFC 2046, 5.1.1).  Nothing for
/// another type, and without a valid boundary.
std::optional<std::string> BoundaryOf(const std::string& content_type);

/// What the headers of a part of a form say (RFC 7578, 4.2).
struct PartHeaders {
  std::string name;      ///< of the field
  std::string filename;  ///< as it was sent, decoded; empty when there is none
};

/// Parses the lines between a boundary and the content of its part.  Nothing when they
/// are malformed or do not name a field.
std::optional<PartHeaders> ParsePartHeaders(std::string_view lines);

}  // namespace web
