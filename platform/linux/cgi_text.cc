#include "cgi_text.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "base/percent.h"
#include "base/text.h"
#include "base/wipe.h"

namespace VEXO::platform {
namespace {

/// Takes memory once, so that no part of a secret is left in memory given back.
std::string DecodeFormText(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    const std::optional<char> escaped = base::PercentDecodeAt(text, i);
    if (escaped) {
      decoded += *escaped;
      i += 2;
    } else {
      decoded += text[i] == '+' ? ' ' : text[i];
    }
  }
  return decoded;
}

bool HasNul(const std::string& text) { return text.find('\0') != std::string::npos; }

bool IsVisible(char c) { return c > ' ' && c < '\x7f'; }

}  // namespace

TextMap ParseForm(std::string_view text) {
  TextMap parameters;
  size_t begin = 0;
  while (begin < text.size()) {
    const size_t end = std::min(text.find('&', begin), text.size());
    const std::string_view pair = text.substr(begin, end - begin);
    begin = end + 1;
    const size_t equals = std::min(pair.find('='), pair.size());
    std::string name = DecodeFormText(pair.substr(0, equals));
    std::string value = DecodeFormText(pair.substr(std::min(equals + 1, pair.size())));
    if (!name.empty() && !HasNul(name) && !HasNul(value)) {
      parameters.try_emplace(std::move(name), std::move(value));
    }
    base::Wipe(&value);
  }
  return parameters;
}

void WipeValues(TextMap* texts) {
  for (auto& [name, value] : *texts) base::Wipe(&value);
}

bool IsFormType(const std::string& content_type) {
  const std::string type = base::Trim(content_type.substr(0, content_type.find(';')));
  return strcasecmp(type.c_str(), "application/x-www-form-urlencoded") == 0;
}

TextMap ParseCookies(const std::string& header) {
  TextMap cookies;
  for (const std::string& pair : base::Split(header, ";")) {
    const size_t equals = pair.find('=');
    if (equals == std::string::npos) continue;
    const std::string name = base::Trim(pair.substr(0, equals));
    const std::string value = base::Trim(pair.substr(equals + 1));
    if (IsCookieName(name) && IsCookieValue(value)) cookies.emplace(name, value);
  }
  return cookies;
}

std::string CookieHeader(const TextMap& cookies) {
  std::string header;
  for (const auto& [name, value] : cookies) {
    if (!header.empty()) header += "; ";
    header.append(name).append("=").append(value);
  }
  return header;
}

bool IsCookieName(const std::string& name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return IsVisible(c) && strchr("()<>@,;:\\\"/[]?={}", c) == nullptr;
  });
}

bool IsCookieValue(const std::string& value) {
  return std::all_of(value.begin(), value.end(), [](char c) {
    return IsVisible(c) && strchr("\",;\\", c) == nullptr;
  });
}

bool IsCookieAttribute(const std::string& value) {
  return std::all_of(value.begin(), value.end(), [](char c) {
    return (c == ' ' || IsVisible(c)) && c != ';' && c != ',';
  });
}

}  // namespace VEXO::platform
