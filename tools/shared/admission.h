#pragma once

#include <string>
#include <vector>

#include "entry.h"

namespace tools {

using VEXO::sharing::record::Entry;

/// Whether those whom the link admits may be others now, so that what was granted before
/// is to be taken back.
bool AdmitsOthers(const Entry& before, const Entry& after);

/// Whether the link is for users and groups, and names none.
bool AdmitsNobody(const Entry& link);

/// What the link admits and the system does not know: names, and ids as numbers.
std::vector<std::string> UnresolvedUsers(const Entry& link);
std::vector<std::string> UnresolvedGroups(const Entry& link);

}  // namespace tools
