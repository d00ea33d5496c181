#include "base/never_shared.h"

#include <algorithm>

namespace VEXO::base {
namespace {

const char* const kFolders[] = {"/proc", "/sys", "/dev", "/usr/vexo/etc"};

/// The path with one slash at its end.
std::string WithSlash(std::string_view path) {
  std::string text(path);
  if (text.empty() || text.back() != '/') text += '/';
  return text;
}

}  // namespace

std::string FolderNeverShared(std::string_view path) {
  const std::string shared = WithSlash(path);
  for (const char* const name : kFolders) {
    const std::string folder = WithSlash(name);
    const size_t common = std::min(shared.size(), folder.size());
    if (shared.compare(0, common, folder, 0, common) == 0) return name;
  }
  return "";
}

}  // namespace VEXO::base
