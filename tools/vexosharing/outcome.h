#pragma once

#include <string>

namespace command {

/// How a call ends: the exit code of the program.
enum Outcome : int {
  kDone = 0,
  /// Nothing matches what was named, or what was asked for was refused.
  kRefused = 1,
  kWrongCall = 2,
  /// The database is missing, not permitted or damaged.
  kNotUsable = 3,
  kInterrupted = 130,
};

/// Writes one line to standard error, under the program's name.
void Tell(const std::string& text);

/// Tells why the call ends so.
Outcome End(Outcome outcome, const std::string& text);

}  // namespace command
