#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace web {

/// Bytes of a file, both ends included.
struct ByteRange {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
};

/// What a Range header selects.
struct RangeSelection {
  enum class Kind {
    kWhole,          ///< 200: no range is asked for in a form that is served
    kPart,           ///< 206
    kUnsatisfiable,  ///< 416
  };
  Kind kind = Kind::kWhole;
  std::vector<ByteRange> ranges;  ///< of kPart, in the order of the request; not empty
};

/// Ranges that one request may have; with more the whole file is sent.
inline constexpr size_t kMaxRanges = 16;

/// Reads the value of a Range header (RFC 9110, section 14.2) for a file of `size` bytes.
/// Malformed values, other units, overlapping ranges and too many of them mean the whole
/// file.
RangeSelection ParseRanges(std::string_view value, std::uint64_t size);

/// Value of Content-Range: "bytes 0-4/10".
std::string ContentRange(const ByteRange& range, std::uint64_t size);
/// The same for kUnsatisfiable: "bytes */10".
std::string UnsatisfiedContentRange(std::uint64_t size);

}  // namespace web
