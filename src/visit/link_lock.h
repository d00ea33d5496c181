#pragma once

#include <chrono>
#include <string>

#include "base/unique_fd.h"

namespace VEXO::sharing {

/// A lock of one link among all processes, held from a successful Take until the end of
/// the object.
class LinkLock {
 public:
  /// Waits for the lock.
  ///
  /// @param folder   the folder of the lock file; root creates a missing one
  /// @param hash     hash of the link
  /// @param timeout  for how long to wait
  /// @return false, logged, when the lock cannot be taken
  bool Take(const std::string& folder, const std::string& hash,
            std::chrono::milliseconds timeout);

 private:
  base::UniqueFd file_;
};

}  // namespace VEXO::sharing
