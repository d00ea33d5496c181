#pragma once

namespace command {

/// Exit codes of the program.
enum ExitCode : int {
  kSuccess = 0,
  /// The operation was refused or failed, or nothing matches.
  kRefused = 1,
  kUsageError = 2,
  /// The database is missing, not permitted or damaged.
  kDatabaseError = 3,
  kInterrupted = 130,
  /// The reader of standard output has closed it: the status of a program that is ended
  /// by SIGPIPE.
  kReaderLeft = 141,
};

}  // namespace command
