#include "cgi_request.h"

#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "base/number.h"
#include "base/wipe.h"

namespace VEXO::platform {
namespace {

constexpr long kLargestBody = 64L * 1024;

// Variables of a request, by the beginning of their names.
constexpr std::string_view kRequestVariables[] = {
    "AUTH_TYPE=", "CONTENT_", "GATEWAY_", "HTTP_",   "PATH_INFO=", "PATH_TRANSLATED=",
    "QUERY_",     "REMOTE_",  "REQUEST_", "SCRIPT_", "SERVER_",    "UNIQUE_ID="};

std::mutex request_mutex;

bool IsRequestVariable(std::string_view variable) {
  return std::any_of(std::begin(kRequestVariables), std::end(kRequestVariables),
                     [variable](std::string_view begin) {
                       return variable.substr(0, begin.size()) == begin;
                     });
}

/// All variables of the request in one text, whatever their order in the environment.
std::string RequestVariables() {
  std::vector<std::string_view> variables;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    if (IsRequestVariable(*entry)) variables.emplace_back(*entry);
  }
  std::sort(variables.begin(), variables.end());
  size_t size = 0;
  for (const std::string_view variable : variables) size += variable.size() + 1;
  std::string text;
  text.reserve(size);
  for (const std::string_view variable : variables) {
    text += variable;
    text += '\0';
  }
  return text;
}

CgiRequest::Identity CurrentIdentity() {
  CgiRequest::Identity identity;
  identity.variables = RequestVariables();
  struct stat status = {};
  if (fstat(STDIN_FILENO, &status) == 0) {
    identity.input_device = status.st_dev;
    identity.input_file = status.st_ino;
    identity.input_position = lseek(STDIN_FILENO, 0, SEEK_CUR);
  }
  return identity;
}

/// Fills `body` from standard input.
bool ReadBody(std::string* body) {
  size_t filled = 0;
  while (filled < body->size()) {
    const ssize_t got = read(STDIN_FILENO, body->data() + filled, body->size() - filled);
    if (got == -1 && errno == EINTR) continue;
    if (got <= 0) return false;
    filled += got;
  }
  return true;
}

}  // namespace

const char* CgiVariable(const char* name) {
  const char* const value = getenv(name);
  return value == nullptr ? "" : value;
}

std::shared_ptr<CgiRequest> CgiRequest::Current() {
  // Never destroyed: a context may be used while the process ends.
  static auto& current = *new std::shared_ptr<CgiRequest>;
  Identity identity = CurrentIdentity();
  const std::lock_guard<std::mutex> lock(request_mutex);
  const bool unused = current.use_count() == 1;
  if (current == nullptr || !current->Is(identity) ||
      (unused && current->HasNextBody())) {
    current = std::make_shared<CgiRequest>(std::move(identity));
  }
  return current;
}

const TextMap& CgiRequest::Form() {
  const std::lock_guard<std::mutex> lock(request_mutex);
  if (form_was_asked_) return form_;
  form_was_asked_ = true;
  if (!IsFormType(CgiVariable("CONTENT_TYPE"))) return form_;
  const std::optional<long> length =
      base::ParseNumber(CgiVariable("CONTENT_LENGTH"), 1L, kLargestBody);
  if (!length) return form_;

  std::string body(*length, '\0');
  if (ReadBody(&body)) form_ = ParseForm(body);
  base::Wipe(&body);
  form_length_ = *length;
  identity_.input_position = lseek(STDIN_FILENO, 0, SEEK_CUR);
  return form_;
}

bool CgiRequest::Is(const Identity& identity) const {
  return identity.variables == identity_.variables &&
         identity.input_device == identity_.input_device &&
         identity.input_file == identity_.input_file &&
         identity.input_position >= identity_.input_position;
}

bool CgiRequest::HasNextBody() const {
  int waiting = 0;
  return form_length_ > 0 && identity_.input_position == -1 &&
         ioctl(STDIN_FILENO, FIONREAD, &waiting) == 0 && waiting >= form_length_;
}

}  // namespace VEXO::platform
