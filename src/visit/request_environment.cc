#include "visit/request_environment.h"

#include <unistd.h>

#include <algorithm>
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

}  // namespace

// The array is replaced as a whole: setenv would keep every address in memory forever,
// and copies of the other variables would be copies of secrets.
RequestEnvironment::RequestEnvironment(const VisitRequest& request)
    : remote_address_("REMOTE_ADDR=" + request.remote_address),
      forwarded_for_("HTTP_X_FORWARDED_FOR=" + request.forwarded_for),
      before_(environ) {
  for (char** variable = environ; variable != nullptr && *variable != nullptr;
       ++variable) {
    if (!IsRequestVariable(*variable)) variables_.push_back(*variable);
  }
  if (!request.remote_address.empty()) variables_.push_back(remote_address_.data());
  if (!request.forwarded_for.empty()) variables_.push_back(forwarded_for_.data());
  variables_.push_back(nullptr);
  environ = variables_.data();
}

RequestEnvironment::~RequestEnvironment() { environ = before_; }

}  // namespace VEXO::sharing
