#include "exchange.h"

#include <poll.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "web/pages/pages.h"
#include "web/record/access_log.h"

namespace web {

namespace {

constexpr std::uint64_t kMostDrained = 64 << 20;

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

Response FinishResponse(Response response, const Source& read) {
  if (!response.finish) return response;
  Response finished = Safely([&] { return response.finish(read); });
  for (const auto& [name, value] : response.headers) finished.Add(name, value);
  if (finished.status < 400) finished.visit = std::move(response.visit);
  return finished;
}

void DrainInput(int input, std::chrono::milliseconds time) {
  const Deadline deadline(time);
  std::string buffer(kPieceSize, '\0');
  const auto read_some = [&] { return read(input, buffer.data(), buffer.size()); };
  std::uint64_t done = 0;
  while (done < kMostDrained) {
    pollfd waiting = {input, POLLIN, 0};
    if (poll(&waiting, 1, deadline.MillisecondsLeft()) != 1) break;
    const ssize_t got = read_some();
    if (got <= 0) return;
    done += got;
  }
  // Closing a socket with unread data sends a reset, which discards the answer.
  if (shutdown(input, SHUT_RD) != 0) return;
  while (read_some() > 0) continue;
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
  RecordAnswer(response.visit, response.status, bytes);
  return sent;
}

}  // namespace web
