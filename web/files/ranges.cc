#include "web/files/ranges.h"

#include <strings.h>

#include <algorithm>
#include <limits>
#include <optional>

#include "base/text.h"

namespace web {
namespace {

using VEXO::base::Split;

constexpr std::string_view kUnit = "bytes";

/// A number of any length; those too large for the type become its largest value.
std::optional<std::uint64_t> ParsePosition(std::string_view text) {
  constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();
  if (text.empty()) return std::nullopt;
  std::uint64_t position = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    const unsigned int digit = c - '0';
    position = position > (kLargest - digit) / 10 ? kLargest : position * 10 + digit;
  }
  return position;
}

enum class Spec { kMalformed, kUnsatisfiable, kSatisfiable };

/// Reads one `FIRST-LAST`, `FIRST-` or `-LENGTH`.
Spec ParseSpec(std::string_view text, std::uint64_t size, ByteRange* range) {
  const size_t dash = text.find('-');
  if (dash == std::string_view::npos) return Spec::kMalformed;
  const std::string_view after = text.substr(dash + 1);
  const std::optional<std::uint64_t> last = ParsePosition(after);
  if (!last && !after.empty()) return Spec::kMalformed;
  if (dash == 0) {
    if (!last) return Spec::kMalformed;
    if (*last == 0) return Spec::kUnsatisfiable;
    range->first = size - std::min(*last, size);
    range->last = size - 1;
    return Spec::kSatisfiable;
  }
  const std::optional<std::uint64_t> first = ParsePosition(text.substr(0, dash));
  if (!first || (last && *last < *first)) return Spec::kMalformed;
  if (*first >= size) return Spec::kUnsatisfiable;
  range->first = *first;
  range->last = last ? std::min(*last, size - 1) : size - 1;
  return Spec::kSatisfiable;
}

bool Overlap(std::vector<ByteRange> ranges) {
  std::sort(ranges.begin(), ranges.end(),
            [](const ByteRange& a, const ByteRange& b) { return a.first < b.first; });
  const auto overlapping = [](const ByteRange& a, const ByteRange& b) {
    return b.first <= a.last;
  };
  return std::adjacent_find(ranges.begin(), ranges.end(), overlapping) != ranges.end();
}

}  // namespace

RangeSelection ParseRanges(std::string_view value, std::uint64_t size) {
  RangeSelection selection;
  const size_t equals = value.find('=');
  // The name of a unit is case-insensitive.
  if (equals != kUnit.size() ||
      strncasecmp(value.data(), kUnit.data(), kUnit.size()) != 0) {
    return selection;
  }
  std::vector<ByteRange> ranges;
  size_t count = 0;
  for (const std::string& text : Split(value.substr(equals + 1), ",")) {
    if (text.empty()) continue;  // a recipient accepts empty elements of a list
    ByteRange range;
    const Spec spec = ParseSpec(text, size, &range);
    if (spec == Spec::kMalformed || ++count > kMaxRanges) return selection;
    if (spec == Spec::kSatisfiable) ranges.push_back(range);
  }
  // An empty file satisfies "-5", but has no bytes that a range could name.
  const bool nameable = size != 0 || ranges.empty();
  if (count == 0 || !nameable || Overlap(ranges)) return selection;
  selection.kind =
      ranges.empty() ? RangeSelection::Kind::kUnsatisfiable : RangeSelection::Kind::kPart;
  selection.ranges = std::move(ranges);
  return selection;
}

std::string ContentRange(const ByteRange& range, std::uint64_t size) {
  return "bytes " + std::to_string(range.first) + "-" + std::to_string(range.last) + "/" +
         std::to_string(size);
}

std::string UnsatisfiedContentRange(std::uint64_t size) {
  return "bytes */" + std::to_string(size);
}

}  // namespace web
