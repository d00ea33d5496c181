#pragma once

#include <string>

#include "sharing_visit.h"

namespace VEXO::sharing {

/// Decides what to answer to one request, as Visit does.  The environment must describe
/// the request (RequestEnvironment).
///
/// @param folder  the folder of the visitors' files: counts of guesses, and the lock file
VisitAnswer Decide(const VisitRequest& request, const std::string& folder);

}  // namespace VEXO::sharing
