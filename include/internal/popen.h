#pragma once

#include <cstdio>

namespace VEXO::sharing {

/// A pipe from the output of a program, which the destructor closes.
class Popen {
 public:
  /// Starts the program at `path` with an argument vector that ends with a null pointer.
  /// When that fails, the failure is logged and `file` is null.
  Popen(const char* path, const char* const argv[]);
  ~Popen();
  Popen(const Popen&) = delete;
  Popen& operator=(const Popen&) = delete;

  FILE* const file;
};

}  // namespace VEXO::sharing
