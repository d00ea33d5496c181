#pragma once

#include <string>

#include "base/unique_fd.h"

namespace command {

/// Reads lines of any input.  Only one line is held in memory, and a line longer than
/// kLongest is skipped.
class LineReader {
 public:
  /// In bytes.
  static constexpr size_t kLongest = 4194304;  // 4 MiB

  /// `path` is a file, or "-" for standard input.
  explicit LineReader(const std::string& path);

  /// The next line, without its end.  False at the end of the input, after an interrupt,
  /// and when it cannot be read.
  bool Next(std::string& line);

  /// False once the input could not be opened or read; `error` has the reason.
  bool good() const { return error_ == 0; }
  int error() const { return error_; }
  /// Number of the line read last, from 1.
  long number() const { return number_; }
  /// Whether the line read last was too long, and is empty therefore.
  bool too_long() const { return too_long_; }

 private:
  bool Fill();

  VEXO::base::UniqueFd file_;  // none for standard input
  int fd_;
  int error_ = 0;
  long number_ = 0;
  bool too_long_ = false;
  std::string buffer_;
  size_t at_ = 0;
};

}  // namespace command
