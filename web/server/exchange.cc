#include "exchange.h"

#include <syslog.h>

#include <exception>
#include <functional>
#include <utility>

#include "web/pages/pages.h"

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
  if (!sink(FormatHeaders(response))) return false;
  if (request.Get("REQUEST_METHOD") == "HEAD") return true;
  return response.body != nullptr ? response.body->Send(sink) : sink(response.content);
}

}  // namespace web
