#pragma once

#include <ctime>
#include <string>

namespace VEXO::base {

/// Whether a user may still log in to the system.
enum class ShadowState { kActive, kLocked, kExpired };

/// The state of a user's entry in the shadow password file (shadow(5)); kActive for a
/// user without one, or when it cannot be read.
ShadowState StateOfAccount(const std::string& name, time_t now);

}  // namespace VEXO::base
