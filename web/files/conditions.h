#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "web/files/ranges.h"

namespace web {

/// The values of a request's headers; nothing for a header that was not sent.
struct RequestConditions {
  std::optional<std::string> if_match;
  std::optional<std::string> if_unmodified_since;
  std::optional<std::string> if_none_match;
  std::optional<std::string> if_modified_since;
  std::optional<std::string> if_range;
  std::optional<std::string> range;
};

/// The file as it is now.
struct CurrentFile {
  std::string etag;  ///< strong, with its quotes
  time_t last_modified = 0;
  std::uint64_t size = 0;
};

enum class Precondition {
  kServe,
  kNotModified,  ///< 304
  kFailed,       ///< 412
};

/// Evaluates the preconditions of a GET or HEAD request in the order of RFC 9110, section
/// 13.2.2, steps 1 to 4.
Precondition EvaluatePreconditions(const RequestConditions& request,
                                   const CurrentFile& file, time_t now);

/// Step 5, for a GET request whose preconditions hold: what to send of the file.  A Range
/// header is ignored when the condition of If-Range is false.
RangeSelection SelectRanges(const RequestConditions& request, const CurrentFile& file,
                            time_t now);

}  // namespace web
