#include "web/link_redirect.h"

#include <syslog.h>

namespace web {

using VEXO::sharing::record::Entry;

std::string SameAddress(const LinkAddress& address) {
  const std::string query = address.query.empty() ? "" : "?" + address.query;
  return EscapeLocation("./" + (address.slash ? "" : address.last) + query);
}

std::string WithSlash(const LinkAddress& address) {
  const std::string query = address.query.empty() ? "" : "?" + address.query;
  return EscapeLocation("./" + address.last + "/" + query);
}

std::optional<RedirectTarget> RedirectOf(const Entry& link) {
  if (link.get_redirect_type() == Entry::REDIRECT_NONE) return std::nullopt;
  std::optional<RedirectTarget> target = ParseRedirectUri(link.get_redirect_uri());
  if (!target) {
    syslog(LOG_WARNING,
           "link %d: redirect URI ignored: neither a URL nor a path of this site",
           link.get_id());
  }
  return target;
}

std::string AfterLogin(const LinkAddress& address, const Entry& link) {
  if (link.get_redirect_type() != Entry::REDIRECT_URLPARAM) return SameAddress(address);
  const std::string* const to = address.parameters.Find("to");
  std::optional<RedirectTarget> target;
  if (to != nullptr) {
    target = ParseSitePath(*to);
    if (!target) {
      syslog(LOG_WARNING, "link %d: parameter \"to\" ignored: not a path of this site",
             link.get_id());
    }
  }
  if (!target) target = RedirectOf(link);
  return target ? target->location : SameAddress(address);
}

std::string FormTarget(const Entry& link) {
  const std::optional<RedirectTarget> target = RedirectOf(link);
  return target ? target->origin : "";
}

}  // namespace web
