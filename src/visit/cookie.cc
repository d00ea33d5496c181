#include "visit/cookie.h"

#include <algorithm>

#include "sharing_visit.h"

namespace VEXO::sharing {
namespace {

// What a cookie value (RFC 6265, 4.1.1) and a token (RFC 9110, 5.6.2) must not have.
constexpr std::string_view kNotInValue = "\",;\\";
constexpr std::string_view kNotInName = "\"(),/:;<=>?@[\\]{}";

bool IsPrintableWithout(std::string_view text, std::string_view excluded) {
  return std::all_of(text.begin(), text.end(), [excluded](char c) {
    return c > ' ' && c <= '~' && excluded.find(c) == std::string_view::npos;
  });
}

std::string Attributes(const VisitRequest& request) {
  return "; Path=" + request.cookie_path + "; HttpOnly; SameSite=Lax" +
         (request.https ? "; Secure" : "");
}

}  // namespace

bool CanSetCookie(const VisitRequest& request) {
  return !request.cookie_name.empty() &&
         IsPrintableWithout(request.cookie_name, kNotInName) &&
         request.cookie_path.rfind('/', 0) == 0 &&
         IsPrintableWithout(request.cookie_path, ";");
}

bool IsCookieValue(std::string_view text) {
  return !text.empty() && IsPrintableWithout(text, kNotInValue);
}

std::string SessionCookie(const VisitRequest& request, const std::string& session_id) {
  if (!IsCookieValue(session_id)) return "";
  return request.cookie_name + "=" + session_id + Attributes(request);
}

std::string DeletedCookie(const VisitRequest& request) {
  if (!CanSetCookie(request)) return "";
  return request.cookie_name + "=" + Attributes(request) + "; Max-Age=0";
}

}  // namespace VEXO::sharing
