#pragma once

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "admin/error.h"
#include "base/access_log.h"
#include "base/unique_fd.h"

namespace admin {

/// A line of the access log, which the web front end writes.
struct RecordedVisit {
  long time = 0;  // seconds since the epoch
  std::string event;
  std::optional<int> code;  // result of the library
  int status = 0;
  std::string path;  // within the link
  std::uint64_t bytes = 0;
  std::string address;  // empty when it was not recorded
};

/// Without the members that are not set.
Json::Value RecordedVisitJson(const RecordedVisit& visit);

/// Reads the access log with its rotated files, from the oldest line to the newest.
/// Only a piece of a file is held in memory.
class AccessLogReader {
 public:
  explicit AccessLogReader(std::string folder = VEXO::base::kAccessLogFolder);

  /// Opens the files.  There may be none: then nobody has visited a link.
  Error Open();
  bool empty() const { return files_.empty(); }

  /// Reads the next visit of this link.  False at the end, and when reading failed.
  bool Next(const std::string& hash, RecordedVisit& visit);

  /// Why reading failed, if it did.
  const Error& error() const { return error_; }
  /// Lines that were skipped because they are damaged.
  long malformed() const { return malformed_; }
  /// Time of the oldest line, of any link; 0 until one was read.
  long since() const { return since_; }

 private:
  bool OpenFile(const std::string& name);
  bool ReadLine(std::string_view& line);
  bool ReadPiece();
  Error Failure(const std::string& path) const;

  std::string folder_;
  std::vector<VEXO::base::UniqueFd> files_;  // the oldest is the last
  std::string piece_;
  size_t begin_ = 0;       // of the next line in the piece
  bool skipping_ = false;  // a line that is too long
  long malformed_ = 0;
  long since_ = 0;
  Error error_;
};

/// What the access log tells of a link.
struct VisitSummary {
  long last_opened = 0;  // when a page or file was last sent; 0: never
  long downloads = 0;    // of files, from their beginning on, and of folders
  long since = 0;        // time of the first line; 0 when there is none
};

/// Nothing when there is no access log, or when it cannot be read.
std::optional<VisitSummary> SummarizeVisits(const std::string& hash);

/// {"last_opened": N, "downloads": N, "since": N}
Json::Value VisitSummaryJson(const VisitSummary& summary);

}  // namespace admin
