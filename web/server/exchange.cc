#include "exchange.h"

#include <syslog.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <functional>
#include <string_view>
#include <utility>

#include "web/pages/pages.h"
#include "web/record/access_log.h"

namespace web {

namespace {

Response Safely(const std::function<Response()>& answer) {
  try {
    return answer();
  } catch (const std::exception& error) {
    syslog(LOG_ERR, "a request failed: %s", error.what());
    return MakeMessage(500, Message::kFailed);
  }
}

}  // namespace

Response AnswerSafely(const Handler& handler, const Variables& request,
                      const ReadBody& read_body) {
  return Safely([&] { return handler.Answer(request, read_body); });
}

Response Complete(Response response) {
  if (!response.complete) return response;
  Response complete = Safely(response.complete);
  for (const auto& [name, value] : response.headers) complete.Add(name, value);
  return complete;
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
