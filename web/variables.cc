#include "variables.h"

#include <cstdlib>
#include <cstring>
#include <vector>

namespace web {

Variables::Variables(const char* const* texts) {
  for (; *texts != nullptr; ++texts) {
    const char* const equals = strchr(*texts, '=');
    if (equals == nullptr) continue;
    size_ += strlen(*texts);
    repeats_ |= !values_.emplace(std::string(*texts, equals), equals + 1).second;
  }
}

const std::string& Variables::Get(const std::string& name) const {
  static const std::string& none = *new std::string;
  const auto found = values_.find(name);
  return found == values_.end() ? none : found->second;
}

void ClearEnvironment() {
  const char* const kept[] = {"TZ", "LD_LIBRARY_PATH", "LD_PRELOAD"};
  std::vector<std::pair<std::string, std::string>> values;
  for (const char* const name : kept) {
    const char* const value = getenv(name);
    if (value != nullptr) values.emplace_back(name, value);
  }
  clearenv();
  for (const auto& [name, value] : values) setenv(name.c_str(), value.c_str(), 1);
  setenv("PATH", "/usr/bin:/bin", 1);
}

}  // namespace web
