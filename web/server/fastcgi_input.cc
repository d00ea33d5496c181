#include "web/server/fastcgi_input.h"

#include <algorithm>

#include "base/wipe.h"
#include "web/server/exchange.h"

namespace web {

std::optional<std::string> ReadInput(FCGX_Stream* input, size_t limit) {
  const Deadline deadline(kBodyTime);
  std::string body;
  body.reserve(limit + 1);  // not grown later: a secret must not leave copies
  while (body.size() <= limit) {
    const int byte = FCGX_GetChar(input);
    if (byte == EOF) break;
    body += static_cast<char>(byte);
    input->rdNext[-1] = 0;  // the password stays in the buffer of the library otherwise
    if (deadline.MillisecondsLeft() == 0) break;
  }
  if (FCGX_GetError(input) == 0 && deadline.MillisecondsLeft() > 0) return body;
  VEXO::base::Wipe(&body);
  return std::nullopt;
}

ssize_t ReadSome(FCGX_Stream* input, char* buffer, size_t size) {
  const int first = FCGX_GetChar(input);  // waits
  if (first == EOF) return FCGX_GetError(input) == 0 ? 0 : -1;
  FCGX_UnGetChar(first, input);
  const auto arrived = static_cast<size_t>(input->stop - input->rdNext);
  return FCGX_GetStr(buffer, static_cast<int>(std::min(size, arrived)), input);
}

}  // namespace web
