#pragma once

#include "entry.h"
#include "parameters.h"
#include "password.h"

namespace webapi {

/// Sets in `link` what the parameters name and leaves the rest.  A password that was
/// asked for is drawn, set and put into `password`.  What is wrong shows as the
/// parameters' failure, and the link is then not to be stored.
void ApplyParameters(Parameters& parameters, VEXO::sharing::record::Entry& link,
                     Password& password);

}  // namespace webapi
