#pragma once

#include <cstdio>

namespace VEXO::sharing {

/// Owns a pipe that reads the output of a program, and closes it at its end.
class Popen {
 public:
  /// Starts the program at `path` with a whole argument vector, ended by a null pointer.
  /// A failure is logged and leaves `file` null.
  Popen(const char* path, const char* const argv[]);
  ~Popen();
  Popen(const Popen&) = delete;
  Popen& operator=(const Popen&) = delete;

  FILE* const file;
};

}  // namespace VEXO::sharing
