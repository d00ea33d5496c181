#include "web/files/etag.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>

namespace web {

std::string EntityTag(const NodeInfo& file) {
  std::array<char, 128> text;
  const int length = snprintf(text.data(), text.size(), "\"%jx-%jx-%jx-%jx.%jx-%jx.%jx\"",
                              std::uintmax_t{file.device}, std::uintmax_t{file.inode},
                              std::uintmax_t{file.size},
                              static_cast<std::uintmax_t>(file.modified.tv_sec),
                              static_cast<std::uintmax_t>(file.modified.tv_nsec),
                              static_cast<std::uintmax_t>(file.changed.tv_sec),
                              static_cast<std::uintmax_t>(file.changed.tv_nsec));
  return std::string(text.data(), length);
}

time_t LastModified(const NodeInfo& file, time_t now) {
  return std::min(file.modified.tv_sec, now);
}

}  // namespace web
