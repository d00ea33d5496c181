#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>

#include "current_platform.h"

using fakes::CallText;
using fakes::CurrentPlatform;
using fakes::Ids;
using fakes::Platform;

namespace {

constexpr unsigned int kUnchanged = -1;

bool MayTake(const Platform& platform, unsigned int wanted, unsigned int real,
             unsigned int effective) {
  return !platform.ids_enforced || platform.ids.euid == 0 || wanted == real ||
         wanted == effective;
}

// The ids of the running test; those of root outside a test.
Ids CurrentIds() {
  const Platform* const platform = fakes::PlatformOrNull();
  return platform ? platform->ids : Ids{0, 0, 0, 0};
}

// Sets the real and the effective id.  The saved id is always the real one.
int SetIds(Platform& platform, unsigned int real, unsigned int effective,
           unsigned int& current_real, unsigned int& current_effective) {
  for (const unsigned int wanted : {real, effective}) {
    if (wanted != kUnchanged &&
        !MayTake(platform, wanted, current_real, current_effective)) {
      errno = EPERM;
      return -1;
    }
  }
  if (real != kUnchanged) current_real = real;
  if (effective != kUnchanged) current_effective = effective;
  return 0;
}

}  // namespace

extern "C" {

int setresuid(uid_t real, uid_t effective, uid_t saved) noexcept {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("setresuid", static_cast<int>(real),
                               static_cast<int>(effective), static_cast<int>(saved)))) {
    errno = EPERM;
    return -1;
  }
  return SetIds(platform, real, effective, platform.ids.uid, platform.ids.euid);
}

int setresgid(gid_t real, gid_t effective, gid_t saved) noexcept {
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("setresgid", static_cast<int>(real),
                               static_cast<int>(effective), static_cast<int>(saved)))) {
    errno = EPERM;
    return -1;
  }
  return SetIds(platform, real, effective, platform.ids.gid, platform.ids.egid);
}

uid_t getuid() noexcept { return CurrentIds().uid; }
uid_t geteuid() noexcept { return CurrentIds().euid; }
gid_t getegid() noexcept { return CurrentIds().egid; }

struct passwd* getpwuid(uid_t uid) {
  static std::string name;
  static struct passwd entry;
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("getpwuid", uid))) return nullptr;
  const auto found = platform.passwd_names.find(uid);
  if (found == platform.passwd_names.end()) return nullptr;
  name = found->second;
  entry = {};
  entry.pw_name = name.data();
  entry.pw_uid = uid;
  return &entry;
}

struct group* getgrgid(gid_t gid) {
  static std::string name;
  static struct group entry;
  Platform& platform = CurrentPlatform();
  if (platform.Refuse(CallText("getgrgid", gid))) return nullptr;
  const auto found = platform.group_names.find(gid);
  if (found == platform.group_names.end()) return nullptr;
  name = found->second;
  entry = {};
  entry.gr_name = name.data();
  entry.gr_gid = gid;
  return &entry;
}

}  // extern "C"
