#include "exchange.h"

#include <syslog.h>

#include <algorithm>
#include <exception>

#include "web/pages/pages.h"

namespace web {

int Deadline::MillisecondsLeft() const {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
      end_ - std::chrono::steady_clock::now());
  return std::max(0, static_cast<int>(left.count()));
}

Response AnswerSafely(const Handler& handler, const Variables& request,
                      const ReadBody& read_body) {
  try {
    return handler.Answer(request, read_body);
  } catch (const std::exception& error) {
    syslog(LOG_ERR, "a request failed: %s", error.what());
    return MakePage(500, RenderMessage(Message::kFailed));
  }
}

bool SendResponse(const Variables& request, const Response& response, const Sink& sink) {
  if (!sink(FormatHeaders(response))) return false;
  if (request.Get("REQUEST_METHOD") == "HEAD") return true;
  return response.body != nullptr ? response.body->Send(sink) : sink(response.content);
}

}  // namespace web
