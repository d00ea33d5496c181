#include "web/files/conditions.h"

#include <string_view>

#include "base/text.h"
#include "web/files/http_date.h"

namespace web {
namespace {

/// Removes the next entity tag of a list, without W/, from its front.  False when there
/// is none left or the list is malformed.
bool TakeTag(std::string_view* list, std::string_view* tag, bool* weak) {
  const size_t begin = list->find_first_not_of(" \t,");
  if (begin == std::string_view::npos) return false;
  list->remove_prefix(begin);
  *weak = list->substr(0, 2) == "W/";
  if (*weak) list->remove_prefix(2);
  const size_t end = list->find('"', 1);
  if (list->empty() || list->front() != '"' || end == std::string_view::npos) {
    return false;
  }
  *tag = list->substr(0, end + 1);
  list->remove_prefix(end + 1);
  return true;
}

enum class Comparison { kStrong, kWeak };

/// Whether If-Match or If-None-Match lists the file's tag, or is *.
bool Lists(std::string_view value, const std::string& etag, Comparison comparison) {
  if (VEXO::base::Trim(value) == "*") return true;
  std::string_view tag;
  bool weak = false;
  while (TakeTag(&value, &tag, &weak)) {
    if (tag == etag && (!weak || comparison == Comparison::kWeak)) return true;
  }
  return false;
}

std::optional<time_t> DateOf(const std::optional<std::string>& value, time_t now) {
  if (!value) return std::nullopt;
  return ParseHttpDate(VEXO::base::Trim(*value), now);
}

bool IfRangeHolds(const std::string& value, const CurrentFile& file, time_t now) {
  const std::string validator = VEXO::base::Trim(value);
  if (validator == file.etag) return true;  // W/ never compares as equal
  // A date is a strong validator only when the second that it names is over (section
  // 8.8.2.2): the file may change once more within that second.
  return ParseHttpDate(validator, now) == file.last_modified && file.last_modified < now;
}

}  // namespace

Precondition EvaluatePreconditions(const RequestConditions& request,
                                   const CurrentFile& file, time_t now) {
  if (request.if_match) {
    if (!Lists(*request.if_match, file.etag, Comparison::kStrong)) {
      return Precondition::kFailed;
    }
  } else {
    const std::optional<time_t> date = DateOf(request.if_unmodified_since, now);
    if (date && file.last_modified > *date) return Precondition::kFailed;
  }
  if (request.if_none_match) {
    return Lists(*request.if_none_match, file.etag, Comparison::kWeak)
               ? Precondition::kNotModified
               : Precondition::kServe;
  }
  const std::optional<time_t> date = DateOf(request.if_modified_since, now);
  return date && file.last_modified <= *date ? Precondition::kNotModified
                                             : Precondition::kServe;
}

RangeSelection SelectRanges(const RequestConditions& request, const CurrentFile& file,
                            time_t now) {
  const bool applies =
      request.range && (!request.if_range || IfRangeHolds(*request.if_range, file, now));
  return applies ? ParseRanges(*request.range, file.size) : RangeSelection();
}

}  // namespace web
