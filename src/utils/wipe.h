#pragma once

#include <string.h>

namespace VEXO::sharing {

/// Overwrites the bytes of a buffer when it ends, so that no secret stays in released
/// memory.  The buffer must outlive it and must not move.
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
