#include "visit/same_site.h"

#include <strings.h>

#include <string>
#include <string_view>

#include "sharing_visit.h"

namespace VEXO::sharing {
namespace {

/// Host and port of a URL or of a Host header.
struct Authority {
  std::string host;
  std::string port;

  bool operator==(const Authority& other) const {
    return strcasecmp(host.c_str(), other.host.c_str()) == 0 && port == other.port;
  }
};

/// @param text  "host", "host:port" or "[address]:port"
Authority ParseAuthority(std::string_view text, std::string_view default_port) {
  const size_t bracket = text.rfind(']');
  const size_t colon = text.find(':', bracket == std::string_view::npos ? 0 : bracket);
  if (colon == std::string_view::npos) {
    return {std::string(text), std::string(default_port)};
  }
  return {std::string(text.substr(0, colon)), std::string(text.substr(colon + 1))};
}

/// The port of an http or https URL without one; empty for any other text, such as the
/// Origin "null".
std::string_view DefaultPort(std::string_view url) {
  if (url.substr(0, 7) == "http://") return "80";
  if (url.substr(0, 8) == "https://") return "443";
  return "";
}

Authority AuthorityOfUrl(std::string_view url) {
  const size_t begin = url.find("//") + 2;
  return ParseAuthority(url.substr(begin, url.find('/', begin) - begin),
                        DefaultPort(url));
}

}  // namespace

bool IsCrossSite(const VisitRequest& request) {
  if (!request.fetch_site.empty()) {
    return request.fetch_site != "same-origin" && request.fetch_site != "none";
  }
  if (request.origin.empty()) return false;
  const std::string_view default_port = DefaultPort(request.origin);
  if (default_port.empty()) return true;
  const Authority origin = AuthorityOfUrl(request.origin);
  // A proxy may have received the request by https, so a Host without a port has the
  // default port of the origin's scheme.
  if (origin == ParseAuthority(request.host, default_port)) return false;
  return DefaultPort(request.base).empty() || !(origin == AuthorityOfUrl(request.base));
}

}  // namespace VEXO::sharing
