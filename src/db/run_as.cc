#include "internal/run_as.h"

#include <syslog.h>
#include <unistd.h>

#include <cerrno>

namespace VEXO::sharing::db {

namespace {

const char kName[] = "IF_RUN_AS";

constexpr uid_t kKeepUid = static_cast<uid_t>(-1);
constexpr gid_t kKeepGid = static_cast<gid_t>(-1);

bool SetUid(uid_t uid) { return setresuid(kKeepUid, uid, kKeepUid) != -1; }
bool SetGid(gid_t gid) { return setresgid(kKeepGid, gid, kKeepGid) != -1; }

/// Goes from the effective ids `from_uid` and `from_gid` to the others, by way of root,
/// which alone may take any id.
bool Switch(uid_t from_uid, gid_t from_gid, uid_t to_uid, gid_t to_gid) {
  if (from_uid != kRootUid && from_uid != to_uid && !SetUid(kRootUid)) {
    return false;
  }
  if (from_gid != to_gid && to_gid != kKeepGid && !SetGid(to_gid)) {
    return false;
  }
  return from_uid == to_uid || to_uid == kKeepUid || SetUid(to_uid);
}

}  // namespace

RunAs::RunAs(uid_t uid, gid_t gid, const char* source, int line)
    : caller_uid_(geteuid()),
      caller_gid_(getegid()),
      source_(source),
      line_(line),
      in_force_(Switch(caller_uid_, caller_gid_, uid, gid)) {
  if (!in_force_) {
    syslog(LOG_AUTH | LOG_ERR, "%s:%d ERROR: %s(%d, %d)", source_, line_, kName,
           static_cast<int>(uid), static_cast<int>(gid));
  }
}

RunAs::~RunAs() {
  const int saved_errno = errno;  // the reason of what failed inside the scope
  if (!Switch(geteuid(), getegid(), caller_uid_, caller_gid_)) {
    syslog(LOG_AUTH | LOG_CRIT, "%s:%d ERROR: ~%s(%d, %d)", source_, line_, kName,
           static_cast<int>(caller_uid_), static_cast<int>(caller_gid_));
  }
  errno = saved_errno;
}

}  // namespace VEXO::sharing::db
