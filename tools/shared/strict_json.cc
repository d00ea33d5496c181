#include "strict_json.h"

#include <ctype.h>
#include <json/reader.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <utility>

#include "utf8.h"

namespace tools {

namespace {

// Below what the library reads, which is some levels deeper in the stored text.
constexpr int kDeepest = 500;

// The upper bits of the two halves of a character beyond U+FFFF.
constexpr unsigned int kHighHalf = 0xd800 >> 10;
constexpr unsigned int kLowHalf = 0xdc00 >> 10;

/// The four hex digits of an escaped character that begins there; 0 when none does.
unsigned int EscapedUnit(const std::string& text, size_t begin) {
  unsigned int unit = 0;
  if (text.compare(begin, 2, "\\u") == 0) {
    const char* const digits = text.data() + begin + 2;
    std::from_chars(digits, std::min(digits + 4, text.data() + text.size()), unit, 16);
  }
  return unit;
}

/// Whether an escape is one half of a character without the other.  The parser would make
/// another character of it.
bool HasHalfCharacter(const std::string& text) {
  size_t next = 0;
  for (size_t i = text.find('\\'); i < text.size(); i = text.find('\\', next)) {
    const unsigned int half = EscapedUnit(text, i) >> 10;
    const bool whole = half == kHighHalf && i + 6 < text.size() &&
                       EscapedUnit(text, i + 6) >> 10 == kLowHalf;
    if (!whole && (half == kHighHalf || half == kLowHalf)) return true;
    next = i + (whole ? 12 : 2);
  }
  return false;
}

/// Whether the text is a number (RFC 8259, 6).
bool IsNumber(const std::string& text) {
  const char* at = text.c_str();
  const auto skip_digits = [&at] {
    const char* const begin = at;
    while (*at >= '0' && *at <= '9') ++at;
    return at != begin;
  };
  if (*at == '-') ++at;
  if (*at == '0') {
    ++at;
  } else if (!skip_digits()) {
    return false;
  }
  if (*at == '.' && (++at, !skip_digits())) return false;
  if (*at == 'e' || *at == 'E') {
    ++at;
    if (*at == '+' || *at == '-') ++at;
    if (!skip_digits()) return false;
  }
  return *at == '\0';
}

/// What is wrong with the numbers and strings of a text, in which the parser accepts more
/// than the grammar allows; empty when nothing is.
std::string TokenFault(const std::string& text) {
  const char kNumberCharacters[] = "0123456789+-.eE";
  if (text.find('\0') != std::string::npos) return "NUL character";
  for (size_t i = 0; i < text.size();) {
    if (text[i] == '"') {
      for (++i; i < text.size() && text[i] != '"'; i += text[i] == '\\' ? 2 : 1) {
        if (static_cast<unsigned char>(text[i]) < ' ') {
          return "control character in a string";
        }
      }
      ++i;
    } else if (isalpha(static_cast<unsigned char>(text[i])) != 0) {
      while (i < text.size() && isalpha(static_cast<unsigned char>(text[i])) != 0) ++i;
    } else if (strchr(kNumberCharacters, text[i]) != nullptr) {
      const size_t end =
          std::min(text.find_first_not_of(kNumberCharacters, i), text.size());
      if (!IsNumber(text.substr(i, end - i))) return "invalid number";
      i = end;
    } else {
      ++i;
    }
  }
  return "";
}

Json::CharReaderBuilder StrictReader() {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["stackLimit"] = kDeepest;
  return builder;
}

/// The first of the parser's complaints, without its place.
std::string FirstReason(const std::string& errors) {
  const size_t line = errors.find("\n  ");  // behind "* Line 1, Column 2"
  const std::string reason = line == std::string::npos ? errors : errors.substr(line + 3);
  return reason.substr(0, reason.find('\n'));
}

}  // namespace

bool ParseStrictJson(const std::string& text, Json::Value& out, std::string& reason) {
  if (!IsUtf8(text)) {
    reason = "it is not UTF-8";
    return false;
  }
  if (HasHalfCharacter(text)) {
    reason = "an escape is half a character";
    return false;
  }
  const std::string fault = TokenFault(text);
  if (!fault.empty()) {
    reason = fault;
    return false;
  }
  static const Json::CharReaderBuilder builder = StrictReader();
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  std::string errors;
  try {
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
      reason = FirstReason(errors);
      return false;
    }
  } catch (const Json::Exception&) {
    reason = "it is nested too deep";
    return false;
  }
  out = std::move(value);
  return true;
}

bool ParseStrictObject(const std::string& text, Json::Value& out, std::string& reason) {
  Json::Value value;
  if (!ParseStrictJson(text, value, reason)) return false;
  if (!value.isObject()) {
    reason = "it is no object";
    return false;
  }
  out = std::move(value);
  return true;
}

}  // namespace tools
