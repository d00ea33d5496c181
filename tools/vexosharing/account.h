#pragma once

#include <string>

namespace command {

/// User id of a name, or of a number: a user who is gone has no name any more.  False,
/// told, when it is neither.
bool FindOwner(const std::string& text, unsigned int& uid);

/// User id of somebody who exists, by name or number.  False, told, when there is none.
bool FindExistingOwner(const std::string& text, unsigned int& uid);

/// Name of the user, or "5009 (gone)".
std::string OwnerText(unsigned int uid);

}  // namespace command
