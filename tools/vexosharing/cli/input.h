#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "admin/secret.h"

namespace command {

/// Replaces the value "@FILE" of an option by the content of the file, and "@-" by
/// standard input up to its end; any other value stays.  At most 1 MiB is read.  False,
/// reported, when it cannot be read or is larger.
bool ReadArgumentFile(const std::string& option, std::string& value);

/// Reads the next line of standard input and nothing beyond it.  On a terminal, prompts
/// for `what` ("password") and does not echo the answer.  False, reported, when there is
/// none.
bool ReadSecret(const std::string& what, admin::Secret& secret);

/// Reads a password from the first line of a file.  False, reported, when there is none
/// or when all users may read the file.
bool ReadSecretFile(const std::string& path, admin::Secret& secret);

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
  std::unique_ptr<FILE, int (*)(FILE*)> file_;
  int error_ = 0;
  long number_ = 0;
  bool too_long_ = false;
};

}  // namespace command
