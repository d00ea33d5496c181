#pragma once

namespace VEXO::platform {

/// Whether logins from the address are refused now: it is blocked, or a failed login
/// could not be counted, for instance because the file system is full or read-only.
/// Logs a refusal.  A text that is not an address is not refused: there is nothing that
/// it could be blocked as.
bool RefusesLogin(const char* address);

}  // namespace VEXO::platform
