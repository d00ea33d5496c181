#include "visit/request_environment.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>

#include "sharing_visit.h"

namespace VEXO::sharing {
namespace {

// What describes a request, by the beginning of the names.
constexpr std::string_view kRequestVariables[] = {
    "CONTENT_LENGTH=", "CONTENT_TYPE=", "HTTP_COOKIE=", "HTTP_X_FORWARDED_FOR=",
    "QUERY_STRING=",   "REMOTE_ADDR=",  "REQUEST_"};

bool IsRequestVariable(std::string_view variable) {
  return std::any_of(std::begin(kRequestVariables), std::end(kRequestVariables),
                     [variable](std::string_view begin) {
                       return variable.substr(0, begin.size()) == begin;
                     });
}

void Unset(const char* variable) {
  const std::string_view text = variable;
  unsetenv(std::string(text.substr(0, text.find('='))).c_str());
}

}  // namespace

// Not with setenv: it would copy secrets, and keep every address in memory forever.
RequestEnvironment::RequestEnvironment(const VisitRequest& request)
    : remote_address_("REMOTE_ADDR=" + request.remote_address),
      forwarded_for_("HTTP_X_FORWARDED_FOR=" + request.forwarded_for) {
  for (char** variable = environ; variable != nullptr && *variable != nullptr;
       ++variable) {
    if (IsRequestVariable(*variable)) hidden_.push_back(*variable);
  }
  for (const char* const variable : hidden_) Unset(variable);
  if (!request.remote_address.empty()) putenv(remote_address_.data());
  if (!request.forwarded_for.empty()) putenv(forwarded_for_.data());
}

RequestEnvironment::~RequestEnvironment() {
  Unset(remote_address_.c_str());
  Unset(forwarded_for_.c_str());
  for (char* const variable : hidden_) putenv(variable);
}

}  // namespace VEXO::sharing
