#pragma once

#include <string>

namespace VEXO::sharing {

/// The address under which the platform counts failed logins: itself for IPv4, the first
/// address of its /64 for IPv6.
std::string BlockingKey(const std::string& address);

/// For how many seconds the address is still blocked; 0 when it is not, and when the
/// platform refuses logins for another reason.
long SecondsBlocked(const std::string& address);

}  // namespace VEXO::sharing
