#include "web/files/owner.h"

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <cerrno>

#include "base/account_state.h"

namespace web {
namespace {

using VEXO::base::ShadowState;
using VEXO::base::StateOfAccount;

constexpr size_t kLongestRecord = 1 << 20;

/// All groups of the user, as a login would set them.
std::vector<gid_t> GroupsOf(const passwd& user) {
  std::vector<gid_t> groups(32);
  int count = static_cast<int>(groups.size());
  while (getgrouplist(user.pw_name, user.pw_gid, groups.data(), &count) == -1) {
    if (count <= static_cast<int>(groups.size())) return {user.pw_gid};  // it failed
    groups.resize(count);
  }
  groups.resize(count);
  return groups;
}

}  // namespace

bool Owner::IsIn(gid_t id) const {
  return id == group || std::find(groups.begin(), groups.end(), id) != groups.end();
}

OwnerLookup FindOwner(uid_t user, time_t now, Owner* owner) {
  passwd record = {};
  passwd* found = nullptr;
  std::vector<char> texts;
  int reason = ERANGE;
  for (size_t size = 1024; reason == ERANGE && size <= kLongestRecord; size *= 2) {
    texts.resize(size);
    reason = getpwuid_r(user, &record, texts.data(), texts.size(), &found);
  }
  if (found == nullptr) {
    errno = reason;
    return reason == 0 || reason == ENOENT ? OwnerLookup::kGone : OwnerLookup::kFailed;
  }
  if (StateOfAccount(record.pw_name, now) != ShadowState::kActive) {
    return OwnerLookup::kGone;
  }
  owner->user = user;
  owner->group = record.pw_gid;
  owner->groups = GroupsOf(record);
  return OwnerLookup::kFound;
}

}  // namespace web
