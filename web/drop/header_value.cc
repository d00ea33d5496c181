#include "web/drop/header_value.h"

#include <algorithm>
#include <cctype>

#include "base/percent.h"
#include "base/text.h"

namespace web {
namespace {

using VEXO::base::ToLowerAscii;

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kEscaped = "\"\\";        // by a backslash in a quoted text
constexpr std::string_view kFormEscapes = "\"\r\n";  // by %XX in a name
constexpr size_t kLongestBoundary = 70;

/// Whether the text has only ASCII letters, digits and these marks, at least one.
bool HasOnly(std::string_view text, std::string_view marks) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [marks](unsigned char c) {
    return c < 0x80 && (std::isalnum(c) != 0 ||
                        marks.find(static_cast<char>(c)) != std::string_view::npos);
  });
}

/// Whether the text is a token (RFC 9110, 5.6.2).
bool IsToken(std::string_view text) { return HasOnly(text, "!#$%&'*+-.^_`|~"); }

void SkipBlanks(std::string_view* text) {
  text->remove_prefix(std::min(text->find_first_not_of(kBlanks), text->size()));
}

/// Takes a value, quoted or not, from the beginning of the text.
std::optional<std::string> TakeValue(std::string_view* text) {
  if (text->empty() || text->front() != '"') {
    const std::string value = VEXO::base::Trim(text->substr(0, text->find(';')));
    text->remove_prefix(std::min(text->find(';'), text->size()));
    return value;
  }
  std::string value;
  for (size_t i = 1; i < text->size(); ++i) {
    char c = (*text)[i];
    if (c == '"') {
      text->remove_prefix(i + 1);
      return value;
    }
    const std::string_view rest = text->substr(i + 1);
    if (c == '\\' && rest.size() > 1 && kEscaped.find(rest[0]) != kEscaped.npos) {
      c = rest[0];
      ++i;
    }
    value += c;
  }
  return std::nullopt;
}

/// Undoes what browsers do to a name (HTML, "multipart/form-data encoding algorithm").
std::string DecodeFormName(std::string_view text) {
  std::string name;
  for (size_t i = 0; i < text.size(); ++i) {
    const std::optional<char> decoded = VEXO::base::PercentDecodeAt(text, i);
    const bool escape = decoded && kFormEscapes.find(*decoded) != kFormEscapes.npos;
    name += escape ? *decoded : text[i];
    if (escape) i += 2;
  }
  return name;
}

/// Decodes a value of the form UTF-8''TEXT (RFC 8187).
std::optional<std::string> DecodeExtended(const std::string& value) {
  const size_t language = value.find('\'');
  const size_t text = value.find('\'', language + 1);
  if (language == std::string::npos || text == std::string::npos ||
      ToLowerAscii(value.substr(0, language)) != "utf-8") {
    return std::nullopt;
  }
  std::string name;
  for (size_t i = text + 1; i < value.size(); ++i) {
    if (value[i] != '%') {
      name += value[i];
      continue;
    }
    const std::optional<char> decoded = VEXO::base::PercentDecodeAt(value, i);
    if (!decoded) return std::nullopt;
    name += *decoded;
    i += 2;
  }
  return name;
}

/// Reads what a Content-Disposition says.
std::optional<PartHeaders> ReadDisposition(std::string_view text) {
  const std::optional<HeaderValue> value = ParseHeaderValue(text);
  if (!value || value->word != "form-data") return std::nullopt;
  const auto name = value->parameters.find("name");
  if (name == value->parameters.end()) return std::nullopt;
  PartHeaders headers;
  headers.name = DecodeFormName(name->second);
  const auto plain = value->parameters.find("filename");
  const auto extended = value->parameters.find("filename*");
  if (plain != value->parameters.end()) {
    headers.filename = DecodeFormName(plain->second);
  }
  if (extended != value->parameters.end()) {
    headers.filename = DecodeExtended(extended->second).value_or(headers.filename);
  }
  return headers;
}

}  // namespace

std::optional<HeaderValue> ParseHeaderValue(std::string_view text) {
  const std::string trimmed = VEXO::base::Trim(text);
  std::string_view rest = trimmed;
  HeaderValue header;
  header.word = ToLowerAscii(VEXO::base::Trim(rest.substr(0, rest.find(';'))));
  rest.remove_prefix(std::min(rest.find(';'), rest.size()));
  while (!rest.empty()) {
    if (rest.front() != ';') return std::nullopt;
    rest.remove_prefix(1);
    SkipBlanks(&rest);
    if (rest.empty()) break;
    const size_t equals = rest.find('=');
    if (equals == std::string_view::npos || !IsToken(rest.substr(0, equals))) {
      return std::nullopt;
    }
    const std::string name = ToLowerAscii(rest.substr(0, equals));
    rest.remove_prefix(equals + 1);
    const std::optional<std::string> value = TakeValue(&rest);
    if (!value) return std::nullopt;
    header.parameters.emplace(name, *value);
    SkipBlanks(&rest);
  }
  return header;
}

std::optional<std::string> BoundaryOf(const std::string& content_type) {
  const std::optional<HeaderValue> value = ParseHeaderValue(content_type);
  if (!value || value->word != "multipart/form-data") return std::nullopt;
  const auto found = value->parameters.find("boundary");
  if (found == value->parameters.end()) return std::nullopt;
  const std::string& boundary = found->second;
  const bool valid = HasOnly(boundary, "'()+_,-./:=? ") && boundary.back() != ' ' &&
                     boundary.size() <= kLongestBoundary;
  if (!valid) return std::nullopt;
  return boundary;
}

std::optional<PartHeaders> ParsePartHeaders(std::string_view lines) {
  std::optional<PartHeaders> headers;
  while (!lines.empty()) {
    const std::string_view line = lines.substr(0, lines.find(kLineEnd));
    lines.remove_prefix(std::min(line.size() + kLineEnd.size(), lines.size()));
    const size_t colon = line.find(':');
    const bool valid = colon != std::string_view::npos &&
                       IsToken(line.substr(0, colon)) &&
                       line.find_first_of(std::string_view("\0\r\n", 3)) == line.npos;
    if (!valid) return std::nullopt;
    if (headers || ToLowerAscii(line.substr(0, colon)) != "content-disposition") continue;
    headers = ReadDisposition(line.substr(colon + 1));
    if (!headers) return std::nullopt;
  }
  return headers;
}

}  // namespace web
