#include "base/system_account.h"

#include <unistd.h>

#include <cerrno>

namespace VEXO::base {

AsSystemAccount::AsSystemAccount() : group_(getegid()), good_(geteuid() != 0) {
  if (good_ || setegid(kSystemGid) == -1) return;
  switched_ = true;
  good_ = seteuid(kSystemUid) == 0;
  if (good_) return;
  const int reason = errno;
  Restore();
  errno = reason;
}

AsSystemAccount::~AsSystemAccount() {
  const int reason = errno;
  Restore();
  errno = reason;
}

bool AsSystemAccount::Restore() {
  if (!switched_) return true;
  switched_ = false;
  return seteuid(0) == 0 && setegid(group_) == 0;
}

}  // namespace VEXO::base
