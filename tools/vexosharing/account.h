#pragma once

#include <string>
#include <vector>

#include "entry.h"

namespace command {

using VEXO::sharing::record::Entry;

/// User id of a name, or of a number: a user who is gone has no name any more.  False,
/// told, when it is neither.
bool FindOwner(const std::string& text, unsigned int& uid);

/// User id of somebody who exists, by name or number.  False, told, when there is none.
bool FindLivingOwner(const std::string& text, unsigned int& uid);

/// Name of the user, or "5009 (gone)".
std::string OwnerText(unsigned int uid);

/// What a link admits and the system does not know: names, and ids as numbers.
std::vector<std::string> UnresolvedUsers(const Entry& link);
std::vector<std::string> UnresolvedGroups(const Entry& link);

}  // namespace command
