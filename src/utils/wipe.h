#pragma once

#include <cstring>

namespace VEXO::sharing {

/// Overwrites a buffer with zeros in its destructor, so that released memory has no
/// secret. The buffer must outlive the object and must not move.
class WipeAtEnd {
 public:
  WipeAtEnd(void* bytes, size_t size) : bytes_(bytes), size_(size) {}
  ~WipeAtEnd() { explicit_bzero(bytes_, size_); }
  WipeAtEnd(const WipeAtEnd&) = delete;
  WipeAtEnd& operator=(const WipeAtEnd&) = delete;

 private:
  void* bytes_;
  size_t size_;
};

}  // namespace VEXO::sharing
