#pragma once

#include "link_address.h"
#include "parameters.h"
#include "sharing_visit.h"
#include "variables.h"

namespace web {

/// Whether the visitor came by https, by what the server or a trusted proxy says.
bool CameByHttps(const Variables& request);

/// What the library needs to know to decide about the request.
VEXO::sharing::VisitRequest MakeVisitRequest(const Variables& request,
                                             const LinkAddress& address,
                                             const Parameters& form, const Site& site);

}  // namespace web
