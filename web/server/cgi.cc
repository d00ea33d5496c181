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

namespace web {
namespace {

// What the configurations of the servers let pass.
constexpr size_t kLargestInput = size_t{64} << 10;

bool WriteAll(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
    if (written == -1 && errno == EINTR) continue;
    if (written <= 0) return false;
    text.remove_prefix(written);
  }
  return true;
}

/// Reads `length` bytes from standard input.
std::optional<std::string> ReadInput(size_t length) {
  const Deadline deadline(kBodyTime);
  std::string body(length, '\0');  // not grown later: a secret must not leave copies
  for (size_t have = 0; have < length;) {
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    const int ready = poll(&input, 1, deadline.MillisecondsLeft());
    if (ready == -1 && errno == EINTR) continue;
    const ssize_t got =
        ready == 1 ? read(STDIN_FILENO, &body[have], length - have) : ssize_t{0};
    if (got <= 0) {
      VEXO::base::Wipe(&body);
      return std::nullopt;
    }
    have += got;
  }
  return body;
}

}  // namespace

bool ServeCgi(const Handler& handler, const Variables& request) {
  const auto read_body = [&request](size_t limit) -> std::optional<std::string> {
    const std::string& text = request.Get("CONTENT_LENGTH");
    if (text.empty()) return "";
    const std::optional<size_t> length =
        VEXO::base::ParseNumber(text, size_t{0}, SIZE_MAX);
    if (!length) return std::nullopt;
    if (*length > limit) {
      // Servers that still write the form do not read the answer.
      if (*length <= kLargestInput) ReadInput(*length);
      return std::string(limit + 1, '\0');  // too long to be looked at
    }
    return ReadInput(*length);
  };
  const Response response = AnswerSafely(handler, request, read_body);
  return SendResponse(request, response, WriteAll);
}

}  // namespace web
