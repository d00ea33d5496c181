#pragma once

#include <sstream>

namespace VEXO::sharing {

/// A stream that writes numbers in decimal without grouping, in any locale of the
/// program.
class PlainStream : public std::ostringstream {
 public:
  PlainStream();
  ~PlainStream() override;
};

}  // namespace VEXO::sharing
