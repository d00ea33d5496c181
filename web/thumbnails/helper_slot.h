#pragma once

#include <string>

#include "base/unique_fd.h"
#include "web/deadline.h"

namespace web {

/// One of the few places that all processes share for programs that make thumbnails, so
/// that a folder of many pictures does not take the whole machine.  Given back at the
/// end, and by the kernel when the process is killed.
class HelperSlot {
 public:
  /// Waits for one of `count` places, which are locks on the file `path` (created where
  /// it is missing).  False when none is free in time and, with a line in the log, when
  /// the file cannot be used.
  bool Take(const std::string& path, int count, const Deadline& deadline);

 private:
  VEXO::base::UniqueFd file_;
};

}  // namespace web
