#pragma once

#include <chrono>

#include "web/deadline.h"
#include "web/handler.h"
#include "web/response.h"
#include "web/variables.h"

namespace web {

/// How long a form may take to arrive.
inline constexpr std::chrono::seconds kBodyTime{10};

/// How long the next bytes of a larger body may take to arrive.
inline constexpr std::chrono::seconds kPieceTime{60};

/// The handler's answer.  An exception is logged, and answered as a failure.
Response AnswerSafely(const Handler& handler, const Variables& request,
                      const ReadBody& read_body);

/// The final answer, where `finish` of the response makes it.  An exception as for
/// AnswerSafely.
///
/// @param read  reads the body of the request
Response FinishResponse(Response response, const Source& read);

/// Reads what is left of a request that was answered before its end, for a time and up to
/// a limit: many servers and browsers look for the answer only when they have sent all.
void DrainInput(int input, std::chrono::milliseconds time = std::chrono::seconds(10));

/// Sends the headers and, unless the method is HEAD, the body, and records the visit.
/// False when the answer was not sent to its end.
bool SendResponse(const Variables& request, const Response& response, const Sink& sink);

}  // namespace web
