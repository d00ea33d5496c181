#pragma once

#include <sstream>

namespace VEXO::sharing {

/// A stream that writes numbers in plain decimal, whatever locale the program has set.
class PlainStream : public std::ostringstream {
 public:
  PlainStream();
  ~PlainStream() override;
};

}  // namespace VEXO::sharing
