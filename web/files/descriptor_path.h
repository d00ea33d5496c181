#pragma once

#include <string>

namespace web {

/// A path that leads to an open file, whatever its name is now.
inline std::string DescriptorPath(int fd) {
  return "/proc/self/fd/" + std::to_string(fd);
}

}  // namespace web
