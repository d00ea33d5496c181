#include "base/account_state.h"

#include <shadow.h>

#include <vector>

namespace VEXO::base {

AccountState StateOfAccount(const std::string& name, time_t now) {
  constexpr time_t kSecondsPerDay = 24L * 60 * 60;
  spwd record = {};
  spwd* found = nullptr;
  std::vector<char> texts(4096);
  if (getspnam_r(name.c_str(), &record, texts.data(), texts.size(), &found) != 0 ||
      found == nullptr) {
    return AccountState::kActive;
  }
  // usermod(8) locks a password with an exclamation mark.
  if (record.sp_pwdp[0] == '!') return AccountState::kLocked;
  const bool expires = record.sp_expire > 0;
  return expires && record.sp_expire <= now / kSecondsPerDay ? AccountState::kExpired
                                                             : AccountState::kActive;
}

}  // namespace VEXO::base
