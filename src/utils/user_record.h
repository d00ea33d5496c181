#pragma once

#include <vexo/account.h>

#include <memory>

namespace VEXO::sharing {

struct FreeUser {
  void operator()(VEXOUSER* user) const { VEXOUserFree(user); }
};

/// Owns a user record of the platform.
using UserRecord = std::unique_ptr<VEXOUSER, FreeUser>;

}  // namespace VEXO::sharing
