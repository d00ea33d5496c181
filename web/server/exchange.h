#pragma once

#include <chrono>

#include "web/handler.h"
#include "web/response.h"
#include "web/variables.h"

namespace web {

/// How long a form may take to arrive.
inline constexpr std::chrono::seconds kBodyTime{10};

/// A point in time that something must be done by.
class Deadline {
 public:
  explicit Deadline(std::chrono::steady_clock::duration time)
      : end_(std::chrono::steady_clock::now() + time) {}

  /// At least 0.
  int MillisecondsLeft() const;

 private:
  std::chrono::steady_clock::time_point end_;
};

/// The handler's answer.  An exception is logged, and answered as a failure.
Response AnswerSafely(const Handler& handler, const Variables& request,
                      const ReadBody& read_body);

/// Sends the headers and, unless the method is HEAD, the body, and records the visit.
/// False when the answer was not sent to its end.
bool SendResponse(const Variables& request, const Response& response, const Sink& sink);

}  // namespace web
