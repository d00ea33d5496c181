#pragma once

#include <string>
#include <vector>

#include "entry.h"

namespace admin {

using VEXO::sharing::record::Entry;

/// Whether the change may have altered who is admitted, so that earlier logins must not
/// count any more.
bool AccessChanged(const Entry& before, const Entry& after);

/// Whether the link is for users and groups, and names none.
bool AdmitsNobody(const Entry& link);

/// Users and groups of the link that the system does not know: names, and ids as numbers.
std::vector<std::string> UnresolvedUsers(const Entry& link);
std::vector<std::string> UnresolvedGroups(const Entry& link);

}  // namespace admin
