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

// Variables of a request, by the beginning of their names.  Not among them is what a
// handler sets itself after a login: AUTH_TYPE, REMOTE_USER and REMOTE_IDENT.
constexpr std::string_view kRequestVariables[] = {
    "CONTENT_", "GATEWAY_",     "HTTP_",        "PATH_INFO=",   "PATH_TRANSLATED=",
    "QUERY_",   "REMOTE_ADDR=", "REMOTE_HOST=", "REMOTE_PORT=", "REQUEST_",
    "SCRIPT_",  "SERVER_",      "UNIQUE_ID="};

// Those that describe the connection and the body.  No handler changes them.
constexpr const char* kOriginVariables[] = {"CONTENT_TYPE", "CONTENT_LENGTH",
                                            "REMOTE_ADDR", "REMOTE_PORT", "UNIQUE_ID"};

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

std::string Origin() {
  std::string text;
  for (const char* const name : kOriginVariables) {
    text += CgiVariable(name);
    text += '\0';
  }
  return text;
}

CgiRequest::Identity CurrentIdentity() {
  CgiRequest::Identity identity;
  identity.variables = RequestVariables();
  identity.origin = Origin();
  struct stat status = {};
  if (fstat(STDIN_FILENO, &status) == 0) {
    identity.input_device = status.st_dev;
    identity.input_file = status.st_ino;
    identity.input_position = lseek(STDIN_FILENO, 0, SEEK_CUR);
  }
  return identity;
}

/// The length of the form that the request announces; nothing when its body is not a form
/// or over the bound.
std::optional<long> FormLength() {
  if (!IsFormType(CgiVariable("CONTENT_TYPE"))) return std::nullopt;
  return base::ParseNumber(CgiVariable("CONTENT_LENGTH"), 1L, kLargestBody);
}

/// Whether so many bytes can be read from standard input without waiting.
bool HasWaiting(long length) {
  int waiting = 0;
  return ioctl(STDIN_FILENO, FIONREAD, &waiting) == 0 && waiting >= length;
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
  if (current == nullptr || current->IsOver(identity, unused)) {
    const bool spent = current != nullptr && current->HasSpent(identity);
    current = std::make_shared<CgiRequest>(std::move(identity), spent);
  }
  return current;
}

const TextMap& CgiRequest::Form() {
  const std::lock_guard<std::mutex> lock(request_mutex);
  if (form_was_asked_) return form_;
  form_was_asked_ = true;
  const std::optional<long> length = FormLength();
  if (!length || (input_is_spent_ && !HasWaiting(*length))) return form_;

  std::string body(*length, '\0');
  if (ReadBody(&body)) form_ = ParseForm(body);
  base::Wipe(&body);
  identity_.input_position = lseek(STDIN_FILENO, 0, SEEK_CUR);
  input_is_spent_ = identity_.input_position == -1;
  return form_;
}

bool CgiRequest::IsOver(const Identity& identity, bool unused) const {
  const bool same_variables = identity.variables == identity_.variables;
  if (!HasSpent(identity)) {
    return !same_variables || identity.input_device != identity_.input_device ||
           identity.input_file != identity_.input_file ||
           identity.input_position < identity_.input_position;
  }
  if (identity.origin != identity_.origin) return true;
  const std::optional<long> length = FormLength();
  return (unused || !same_variables) && length && HasWaiting(*length);
}

bool CgiRequest::HasSpent(const Identity& identity) const {
  return input_is_spent_ && identity.input_position == -1 &&
         identity.input_device == identity_.input_device &&
         identity.input_file == identity_.input_file;
}

}  // namespace VEXO::platform
