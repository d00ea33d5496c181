#pragma once

#include <optional>
#include <string>

#include "entry.h"
#include "web/link_address.h"
#include "web/redirect.h"

namespace web {

/// The address of the request, relative to itself.
std::string SameAddress(const LinkAddress& address);

/// The same with a slash at the end of the path.
std::string WithSlash(const LinkAddress& address);

/// The redirect URI of the link, where it has one that may be used.
std::optional<RedirectTarget> RedirectOf(const VEXO::sharing::record::Entry& link);

/// Where a visitor goes who has just logged in.
std::string AfterLogin(const LinkAddress& address,
                       const VEXO::sharing::record::Entry& link);

/// The origin that the forms of the link may lead to, for the policy of their page.
std::string FormTarget(const VEXO::sharing::record::Entry& link);

}  // namespace web
