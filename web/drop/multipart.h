#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "web/drop/header_value.h"

namespace web {

/// Receives the parts of a form, one after the other.  What returns false ends the
/// parsing.
class PartSink {
 public:
  virtual ~PartSink() = default;

  virtual bool Begin(const PartHeaders& headers) = 0;
  /// The next bytes of the part that has begun.
  virtual bool Add(std::string_view bytes) = 0;
  virtual bool End() = 0;
};

/// Parses a body of the type multipart/form-data (RFC 7578, RFC 2046) while it arrives.
/// It holds at most a boundary or the headers of one part, whatever is sent, and lines
/// end with CR LF only.
class MultipartParser {
 public:
  enum class Status {
    kMore,       ///< the body has not ended
    kEnd,        ///< it has; the rest is ignored
    kMalformed,  ///< it breaks the rules
    kStopped,    ///< the sink returned false
  };

  /// `boundary` is as BoundaryOf returns it.  The sink must outlive the parser.
  MultipartParser(const std::string& boundary, PartSink* sink);

  /// Takes the next bytes.  After any status but kMore there is nothing more to take.
  Status Feed(std::string_view bytes);

 private:
  enum class Place { kPreamble, kBoundary, kHeaders, kContent };

  bool Step();
  bool TakeContent();
  bool TakeBoundary();
  bool TakeHeaders();
  bool Pass(size_t begin, size_t end);
  bool Leave(Status status);

  const std::string delimiter_;
  PartSink* const sink_;
  Status status_ = Status::kMore;
  Place place_ = Place::kPreamble;
  std::string buffer_;
  size_t skipped_ = 0;   // bytes at the beginning of the buffer that were passed before
  size_t preamble_ = 0;  // bytes before the first boundary
};

}  // namespace web
