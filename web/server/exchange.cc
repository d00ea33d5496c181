#include "exchange.h"

#include <syslog.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <string_view>

#include "web/pages/pages.h"
#include "web/record/access_log.h"

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
  std::uint64_t bytes = 0;  // of the body
  const Sink counted = [&sink, &bytes](std::string_view piece) {
    if (!sink(piece)) return false;
    bytes += piece.size();
    return true;
  };
  bool sent = sink(FormatHeaders(response));
  if (sent && request.Get("REQUEST_METHOD") != "HEAD") {
    sent = response.body != nullptr ? response.body->Send(counted)
                                    : counted(response.content);
  }
  RecordAnswer(response.record, response.status, bytes);
  return sent;
}

}  // namespace web
