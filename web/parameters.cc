#include "parameters.h"

#include <algorithm>

#include "base/percent.h"
#include "base/wipe.h"

namespace web {
namespace {

/// Decodes a name or a value of a form, where a plus sign is a blank.
std::optional<std::string> DecodeField(std::string_view text) {
  std::string plain(text);
  std::replace(plain.begin(), plain.end(), '+', ' ');
  std::optional<std::string> decoded = DecodePart(plain);
  VEXO::base::Wipe(&plain);
  return decoded;
}

}  // namespace

std::optional<std::string> DecodePart(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());  // a secret must not leave copies behind
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '%') {
      const std::optional<char> byte = VEXO::base::PercentDecodeAt(text, i);
      if (!byte) return std::nullopt;
      c = *byte;
      i += 2;
    }
    if (c == '\0') return std::nullopt;
    decoded += c;
  }
  return decoded;
}

Parameters::~Parameters() {
  for (auto& [name, value] : pairs_) VEXO::base::Wipe(&value);
}

std::optional<Parameters> Parameters::Parse(std::string_view text, size_t most) {
  Parameters parameters;
  parameters.pairs_.reserve(most);  // values are decoded in place
  while (!text.empty()) {
    const std::string_view field = text.substr(0, text.find('&'));
    text.remove_prefix(std::min(field.size() + 1, text.size()));
    if (field.empty()) continue;
    if (parameters.pairs_.size() == most) return std::nullopt;
    const size_t equals = std::min(field.find('='), field.size());
    std::optional<std::string> name = DecodeField(field.substr(0, equals));
    std::optional<std::string> value =
        DecodeField(field.substr(std::min(equals + 1, field.size())));
    if (!name || !value) return std::nullopt;
    parameters.pairs_.emplace_back(std::move(*name), *value);
    VEXO::base::Wipe(&*value);  // moving would leave a short text behind
  }
  return parameters;
}

const std::string* Parameters::Find(const std::string& name) const {
  const auto found =
      std::find_if(pairs_.begin(), pairs_.end(),
                   [&name](const auto& pair) { return pair.first == name; });
  return found == pairs_.end() ? nullptr : &found->second;
}

std::string Parameters::Get(const std::string& name) const {
  const std::string* const value = Find(name);
  return value == nullptr ? "" : *value;
}

std::vector<std::string> Parameters::All(const std::string& name) const {
  std::vector<std::string> values;
  for (const auto& [found, value] : pairs_) {
    if (found == name) values.push_back(value);
  }
  return values;
}

}  // namespace web
