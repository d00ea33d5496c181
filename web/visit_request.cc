#include "visit_request.h"

#include <strings.h>

#include <cstdlib>
#include <string>

#include "base/text.h"
#include "cookies.h"
#include "vexo/cgi.h"

namespace web {
namespace {

const char kCookie[] = "sharing";

/// Whether the request comes from a proxy that the platform trusts: then it believes the
/// address that the proxy names.
bool ComesFromTrustedProxy(const std::string& remote_address) {
  const std::string named = remote_address == "192.0.2.1" ? "192.0.2.2" : "192.0.2.1";
  char address[64] = {};
  // Not setenv(3), which keeps every value that it was ever given.
  std::string remote = "REMOTE_ADDR=" + remote_address;
  std::string forwarded = "HTTP_X_FORWARDED_FOR=" + named;
  putenv(remote.data());
  putenv(forwarded.data());
  const bool found = VexoCgiGetRemoteIP(address, sizeof(address)) != -1;
  unsetenv("HTTP_X_FORWARDED_FOR");
  unsetenv("REMOTE_ADDR");
  return found && named == address;
}

}  // namespace

bool CameByHttps(const Variables& request) {
  const std::string& https = request.Get("HTTPS");
  if (!https.empty() && strcasecmp(https.c_str(), "off") != 0) return true;
  // The proxy next to this server wrote the last one.
  const std::string scheme =
      VEXO::base::Split(request.Get("HTTP_X_FORWARDED_PROTO"), ",").back();
  return strcasecmp(scheme.c_str(), "https") == 0 &&
         ComesFromTrustedProxy(request.Get("REMOTE_ADDR"));
}

VEXO::sharing::VisitRequest MakeVisitRequest(const Variables& request,
                                             const LinkAddress& address,
                                             const Parameters& form, const Site& site) {
  VEXO::sharing::VisitRequest visit;
  visit.project = kProject;
  visit.hash = address.hash;
  visit.session_id = FindCookie(request.Get("HTTP_COOKIE"), kCookie);
  visit.method = request.Get("REQUEST_METHOD");
  visit.remote_address = request.Get("REMOTE_ADDR");
  visit.forwarded_for = request.Get("HTTP_X_FORWARDED_FOR");
  visit.action = form.Get("action");
  visit.username = form.Get("username");
  visit.password = form.Get("password");
  visit.fetch_site = request.Get("HTTP_SEC_FETCH_SITE");
  visit.origin = request.Get("HTTP_ORIGIN");
  visit.host = request.Get("HTTP_HOST");
  visit.base = site.BaseUrl();
  visit.cookie_name = kCookie;
  visit.cookie_path = site.LinkPath(visit.host, address.before, address.segment);
  visit.https = CameByHttps(request);
  return visit;
}

}  // namespace web
