#pragma once

#include <cstdint>
#include <string>

#include "web/record/record.h"

namespace web {

/// Appends lines to the access log, which may be rotated at any time.
class AccessLogWriter {
 public:
  /// The access log of this machine.
  AccessLogWriter();
  /// @param path   the file; it is created when it is missing
  /// @param stamp  a file that tells all processes when a failure was last logged
  AccessLogWriter(std::string path, std::string stamp);

  /// Appends the line in one piece.  When that fails, the line is lost and nothing else:
  /// the failure is logged, at most once in ten minutes.  Nothing is appended to a file
  /// of 64 MiB, so that visitors cannot fill the disk.
  void Append(const std::string& line) const;

 private:
  std::string path_;
  std::string stamp_;
};

/// Records an answer that has been sent.  Nothing when its record has no event.
void RecordAnswer(const LoggedVisit& visit, int status, std::uint64_t bytes);

}  // namespace web
