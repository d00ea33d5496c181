#pragma once

#include <string>

#include "link_address.h"
#include "parameters.h"
#include "sharing_visit.h"
#include "variables.h"

namespace web {

/// The address of the visitor: that of the connection, or the one that a trusted proxy
/// names.  Empty when there is none.
std::string VisitorAddress(const Variables& request);

/// Whether the visitor came by https, by what the server or a trusted proxy says.
bool CameByHttps(const Variables& request);

/// What the library needs to know to decide about the request.
VEXO::sharing::VisitRequest MakeVisitRequest(const Variables& request,
                                             const LinkAddress& address,
                                             const Parameters& form, const Site& site);

}  // namespace web
