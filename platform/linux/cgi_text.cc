#include "cgi_text.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

#include "base/percent.h"
#include "base/text.h"

namespace VEXO::platform {
namespace {

std::string DecodeFormText(const std::string& text) {
  std::string decoded;
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

TextMap ParseForm(const std::string& text) {
  TextMap parameters;
  size_t begin = 0;
  while (begin < text.size()) {
    const size_t end = std::min(text.find('&', begin), text.size());
    const std::string pair = text.substr(begin, end - begin);
    begin = end + 1;
    const size_t equals = std::min(pair.find('='), pair.size());
    const std::string name = DecodeFormText(pair.substr(0, equals));
    const std::string value =
        equals == pair.size() ? "" : DecodeFormText(pair.substr(equals + 1));
    if (name.empty() || HasNul(name) || HasNul(value)) continue;
    parameters.emplace(name, value);
  }
  return parameters;
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
    header += name + "=" + value;
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
