#include "base/account_state.h"

#include <fcntl.h>
#include <paths.h>
#include <shadow.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace VEXO::base {

ShadowState StateOfAccount(const std::string& name, time_t now) {
  constexpr time_t kSecondsPerDay = 24L * 60 * 60;
  // To a process that may not read the file, other sources of the name service make up
  // entries of locked accounts (nss-systemd(8) for root).
  if (faccessat(AT_FDCWD, _PATH_SHADOW, R_OK, AT_EACCESS) == -1 && errno == EACCES) {
    return ShadowState::kActive;
  }
  spwd record = {};
  spwd* found = nullptr;
  std::vector<char> texts(4096);
  if (getspnam_r(name.c_str(), &record, texts.data(), texts.size(), &found) != 0 ||
      found == nullptr) {
    return ShadowState::kActive;
  }
  // usermod(8) locks a password with an exclamation mark.
  if (record.sp_pwdp[0] == '!') return ShadowState::kLocked;
  const bool expires = record.sp_expire > 0;
  return expires && record.sp_expire <= now / kSecondsPerDay ? ShadowState::kExpired
                                                             : ShadowState::kActive;
}

}  // namespace VEXO::base
