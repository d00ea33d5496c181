#include "web/files/as_owner.h"

#include <linux/capability.h>
#include <sys/fsuid.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>

namespace web {
namespace {

// setfsuid(2) and setfsgid(2) return the previous id and change nothing for this one.
constexpr uid_t kNoUser = static_cast<uid_t>(-1);
constexpr gid_t kNoGroup = static_cast<gid_t>(-1);

uid_t FileUser() { return static_cast<uid_t>(setfsuid(kNoUser)); }
gid_t FileGroup() { return static_cast<gid_t>(setfsgid(kNoGroup)); }

/// The system call itself: the C library's function is for all threads at once, which
/// setfsuid is not.
bool SetGroups(const std::vector<gid_t>& groups) {
  return syscall(SYS_setgroups, groups.size(), groups.data()) == 0;
}

bool GetGroups(std::vector<gid_t>* groups) {
  const int count = getgroups(0, nullptr);
  if (count == -1) return false;
  groups->resize(count);
  return getgroups(count, groups->data()) == count;
}

/// The capabilities below 32 that are in force; nothing when they are not known.
std::optional<unsigned int> Capabilities() {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
  if (syscall(SYS_capget, &header, data) != 0) return std::nullopt;
  return data[0].effective;
}

/// Whether the thread may take other ids.  Asked beforehand, since a sandbox may end a
/// process that tries.
bool MayChangeIds() {
  constexpr unsigned int kIds = (1U << CAP_SETUID) | (1U << CAP_SETGID);
  return (Capabilities().value_or(0) & kIds) == kIds;
}

/// Whether the thread may read files against their modes.  The kernel takes that right
/// away together with user id 0, but not from another account that was given it.
bool ReadsAnything() {
  constexpr unsigned int kAll = (1U << CAP_DAC_OVERRIDE) | (1U << CAP_DAC_READ_SEARCH);
  return (Capabilities().value_or(kAll) & kAll) != 0;
}

}  // namespace

AsOwner::AsOwner(const Owner& owner) : user_(FileUser()), group_(FileGroup()) {
  if (!MayChangeIds() || !GetGroups(&groups_) || !SetGroups(owner.groups)) return;
  switched_ = true;
  prctl(PR_GET_PDEATHSIG, &signal_of_parent_);
  setfsgid(owner.group);
  setfsuid(owner.user);
  good_ = FileUser() == owner.user && FileGroup() == owner.group &&
          (owner.user == 0 || !ReadsAnything());
}

AsOwner::~AsOwner() {
  if (!switched_) return;
  const int reason = errno;
  setfsuid(user_);
  setfsgid(group_);
  const bool back = SetGroups(groups_) && FileUser() == user_ && FileGroup() == group_;
  if (!back) {
    syslog(LOG_AUTH | LOG_CRIT, "cannot restore the ids after reading as a link's owner");
    abort();
  }
  // A change of ids also takes away the signal at the end of the parent process.
  prctl(PR_SET_PDEATHSIG, signal_of_parent_);
  errno = reason;
}

}  // namespace web
