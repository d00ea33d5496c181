#include "web/drop/multipart.h"

#include <algorithm>
#include <optional>

namespace web {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kEndOfHeaders = "\r\n\r\n";
constexpr size_t kLongestPreamble = 8 << 10;
constexpr size_t kLargestHeaders = 8 << 10;
constexpr size_t kLongestPadding = 256;

}  // namespace

// The first boundary needs no line end before it, so one is put there.
MultipartParser::MultipartParser(const std::string& boundary, PartSink* sink)
    : delimiter_("\r\n--" + boundary), sink_(sink), buffer_(kLineEnd) {}

MultipartParser::Status MultipartParser::Feed(std::string_view bytes) {
  buffer_.append(bytes);
  while (status_ == Status::kMore && Step()) continue;
  return status_;
}

/// Takes what can be taken from the buffer.  False when more bytes are needed, and at the
/// end.
bool MultipartParser::Step() {
  switch (place_) {
    case Place::kBoundary:
      return TakeBoundary();
    case Place::kHeaders:
      return TakeHeaders();
    default:
      return TakeContent();
  }
}

bool MultipartParser::Leave(Status status) {
  status_ = status;
  return false;
}

/// Hands a piece of the buffer on, without what was passed before.
bool MultipartParser::Pass(size_t begin, size_t end) {
  if (place_ == Place::kContent) {
    return sink_->Add(std::string_view(buffer_).substr(begin, end - begin)) ||
           Leave(Status::kStopped);
  }
  preamble_ += end - begin;
  return preamble_ <= kLongestPreamble || Leave(Status::kMalformed);
}

bool MultipartParser::TakeContent() {
  const size_t found = buffer_.find(delimiter_);
  const bool ends = found != std::string::npos;
  // The end of the buffer may be the beginning of a boundary.
  const size_t kept = delimiter_.size() - 1;
  const size_t end = ends ? found : buffer_.size() - std::min(buffer_.size(), kept);
  if (end > skipped_) {
    if (!Pass(skipped_, end)) return false;
    buffer_.erase(0, end);
    skipped_ = 0;
  } else if (ends) {
    buffer_.erase(0, found);  // an empty part: its line end was passed before
  }
  if (!ends) return false;
  buffer_.erase(0, delimiter_.size());
  skipped_ = 0;
  if (place_ == Place::kContent && !sink_->End()) return Leave(Status::kStopped);
  place_ = Place::kBoundary;
  return true;
}

/// What follows a boundary: two dashes, or blanks and a line end.  Anything else could be
/// taken for content or for a boundary, and is neither.
bool MultipartParser::TakeBoundary() {
  if (buffer_.size() < kLineEnd.size()) return false;
  if (buffer_.compare(0, 2, "--") == 0) return Leave(Status::kEnd);
  const size_t padding = std::min(buffer_.find_first_not_of(" \t"), buffer_.size());
  if (padding > kLongestPadding) return Leave(Status::kMalformed);
  const std::string_view rest =
      std::string_view(buffer_).substr(padding, kLineEnd.size());
  if (rest != kLineEnd.substr(0, rest.size())) return Leave(Status::kMalformed);
  if (rest.size() < kLineEnd.size()) return false;
  buffer_.erase(0, padding);
  place_ = Place::kHeaders;
  return true;
}

bool MultipartParser::TakeHeaders() {
  const size_t end = buffer_.find(kEndOfHeaders);
  if (std::min(end, buffer_.size()) > kLargestHeaders) return Leave(Status::kMalformed);
  if (end == std::string::npos) return false;
  const size_t begin = std::min(kLineEnd.size(), end);
  const std::optional<PartHeaders> headers =
      ParsePartHeaders(std::string_view(buffer_).substr(begin, end - begin));
  if (!headers) return Leave(Status::kMalformed);
  // The last line end stays: it may also be the one before the next boundary.
  buffer_.erase(0, end + kLineEnd.size());
  skipped_ = kLineEnd.size();
  place_ = Place::kContent;
  return sink_->Begin(*headers) || Leave(Status::kStopped);
}

}  // namespace web
