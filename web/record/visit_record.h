#pragma once

#include <string>

#include "sharing_visit.h"
#include "web/link_address.h"
#include "web/record/record.h"
#include "web/settings.h"
#include "web/variables.h"

namespace web {

/// Completes the record of a request.  Its event is set where content was answered; for
/// a form it is chosen here.  Of those who are not admitted only forms are recorded, and
/// nothing of a HEAD request.
void CompleteRecord(const Variables& request, const LinkAddress& address,
                    const VEXO::sharing::VisitAnswer& answer, AddressInLog kept,
                    LoggedVisit* visit);

}  // namespace web
