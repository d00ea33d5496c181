#pragma once

namespace VEXO::platform {

/// Whether logins from the address are refused now, as also when the list cannot be read.
/// A text that is no address is not blocked: there is nothing that it could be blocked
/// as.
bool IsBlocked(const char* address);

}  // namespace VEXO::platform
