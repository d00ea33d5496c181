#include "admin/accounts.h"

#include <shadow.h>
#include <vexo/account.h>

#include <cerrno>
#include <vector>

namespace admin {

namespace {

constexpr long kSecondsPerDay = 24L * 60 * 60;

Lookup Result(int code) {
  if (code == 0) return Lookup::kFound;
  return errno == ENOENT ? Lookup::kNotFound : Lookup::kUnknown;
}

}  // namespace

Lookup FindUser(unsigned int uid, std::string* name) {
  VEXOUSER* user = nullptr;
  const Lookup found = Result(VEXOUserGetByUID(uid, &user));
  if (found != Lookup::kFound) return found;
  if (name != nullptr) *name = user->name;
  VEXOUserFree(user);
  return found;
}

Lookup FindUser(const std::string& name) {
  VEXOUSER* user = nullptr;
  const Lookup found = Result(VEXOUserGet(name.c_str(), &user));
  if (found == Lookup::kFound) VEXOUserFree(user);
  return found;
}

Lookup FindGroup(unsigned int gid) {
  VEXOGROUP* group = nullptr;
  const Lookup found = Result(VEXOGroupGetByGID(gid, &group));
  if (found == Lookup::kFound) VEXOGroupFree(group);
  return found;
}

Lookup FindGroup(const std::string& name) {
  gid_t gid = 0;
  return Result(VEXOGroupGetGID(name.c_str(), &gid));
}

AccountState StateOfAccount(const std::string& name, long now) {
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

}  // namespace admin
