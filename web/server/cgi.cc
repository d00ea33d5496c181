#include "cgi.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "base/number.h"
#include "base/wipe.h"
#include "web/server/exchange.h"
#include "web/server/stop.h"

namespace web {
namespace {

bool WriteAll(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
    if (written == -1 && errno == EINTR) continue;
    if (written <= 0) return false;
    text.remove_prefix(written);
  }
  return true;
}

/// The body of the request: standard input, of which the server does not always show the
/// end.
class Input {
 public:
  explicit Input(const std::string& length)
      : left_(length.empty() ? 0 : VEXO::base::ParseNumber(length, size_t{0}, SIZE_MAX)) {
  }

  bool has_more() const { return left_.value_or(1) != 0; }

  /// Reads the body of a form.
  std::optional<std::string> ReadAll(size_t limit) {
    if (!left_) return std::nullopt;
    if (*left_ > limit) return std::string(limit + 1, '\0');  // too long to be looked at
    const Deadline deadline(kBodyTime);
    std::string body(*left_, '\0');  // not grown later: a secret must not leave copies
    for (size_t have = 0; have < body.size();) {
      const ssize_t got =
          Read(&body[have], body.size() - have, deadline.MillisecondsLeft());
      if (got <= 0) {
        VEXO::base::Wipe(&body);
        return std::nullopt;
      }
      have += got;
    }
    return body;
  }

  /// Reads the next bytes, as a Source does.
  ssize_t ReadSome(char* buffer, size_t size) {
    return Read(buffer, size, std::chrono::milliseconds(kPieceTime).count());
  }

 private:
  ssize_t Read(char* buffer, size_t size, int milliseconds) {
    size = std::min(size, left_.value_or(0));
    if (size == 0) return 0;
    for (;;) {
      pollfd input = {STDIN_FILENO, POLLIN, 0};
      const int ready = poll(&input, 1, milliseconds);
      if (ready == -1 && errno == EINTR) continue;
      const ssize_t got = ready == 1 ? read(STDIN_FILENO, buffer, size) : ssize_t{0};
      *left_ = got > 0 ? *left_ - got : 0;
      return got > 0 ? got : -1;  // the end is too early
    }
  }

  std::optional<size_t> left_;
};

}  // namespace

bool ServeCgi(const Handler& handler, const Variables& request) {
  Input input(request.Get("CONTENT_LENGTH"));
  const Response response = FinishResponse(
      AnswerSafely(handler, request,
                   [&input](size_t limit) { return input.ReadAll(limit); }),
      [&input](char* buffer, size_t size) { return input.ReadSome(buffer, size); });
  FailOutputOnStop(STDOUT_FILENO);  // what was sent until then is recorded
  const bool sent = SendResponse(request, response, [](std::string_view piece) {
    return piece.empty() ? HasReceiver(STDOUT_FILENO) : WriteAll(piece);
  });
  // A body in chunks has no length here.
  if (input.has_more() || request.Has("HTTP_TRANSFER_ENCODING")) DrainInput(STDIN_FILENO);
  return sent;
}

}  // namespace web
