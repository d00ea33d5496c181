#pragma once

#include <json/value.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "admin/error.h"

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

/// Writes one line to standard error, after the program's name.
void ReportError(const std::string& text);

/// The same with "warning: " before the text.
void ReportWarning(const std::string& text);

/// Reports the error and returns its exit code.
ExitCode Fail(ExitCode exit_code, const std::string& text);
ExitCode Fail(const admin::Error& error);

/// Whether all writes to standard output so far succeeded.
bool FlushOutput();

/// Flushes standard output and returns the final exit code: an error when that fails, and
/// kReaderLeft, without a message, when its reader has closed it ("list | head").
ExitCode CloseOutput(ExitCode exit_code);

/// Installs signal handlers: from now on an interrupt (SIGINT, SIGTERM, or SIGHUP where
/// it is not ignored) is only noted: long operations check for it between rows or
/// batches.  Another one, a second or more later, ends the program at once.
void CatchInterrupt();

/// Whether there was one; this stays true.
bool Interrupted();

/// Writes the value to standard output, in a line of its own.
void PrintJson(const Json::Value& value);

/// Prints the result of an operation: an object of the members, or else the text.
void PrintResult(bool json,
                 std::initializer_list<std::pair<const char*, Json::Value>> members,
                 const std::string& text);

/// Writes an array, which the caller has begun with "[", element by element to standard
/// output, one on each line, so that only one element is held in memory.  It stays open
/// until End, so that an incomplete one is not valid JSON.
class JsonArrayWriter {
 public:
  void Add(const Json::Value& element);
  /// Adds an element that is JSON already.
  void AddText(const std::string& element);
  void End() const;

 private:
  bool empty_ = true;
};

}  // namespace command
