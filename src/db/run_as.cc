#include "db/run_as.h"

#include <syslog.h>
#include <unistd.h>

#include <cerrno>

namespace VEXO::sharing::db {

namespace {

const char kName[] = "IF_RUN_AS";

// The value with which setresuid(2) and setresgid(2) keep an id.
constexpr uid_t kKeepUid = static_cast<uid_t>(-1);
constexpr gid_t kKeepGid = static_cast<gid_t>(-1);

bool SetUid(uid_t uid) { return setresuid(kKeepUid, uid, kKeepUid) != -1; }
bool SetGid(gid_t gid) { return setresgid(kKeepGid, gid, kKeepGid) != -1; }

// Only root may take any id, so the switch from the effective ids `from` to the ids `to`
// takes user id 0 first.  A step returns true when it succeeded or was not needed.

bool TakeRoot(uid_t from, uid_t to) {
  return from == kRootUid || from == to || SetUid(kRootUid);
}
bool GoToGid(gid_t from, gid_t to) { return from == to || to == kKeepGid || SetGid(to); }
bool GoToUid(uid_t from, uid_t to) { return from == to || to == kKeepUid || SetUid(to); }

}  // namespace

RunAs::RunAs(uid_t uid, gid_t gid, const char* source, int line)
    : caller_uid_(geteuid()),
      caller_gid_(getegid()),
      source_(source),
      line_(line),
      in_force_(TakeRoot(caller_uid_, uid) && GoToGid(caller_gid_, gid) &&
                GoToUid(caller_uid_, uid)) {
  if (!in_force_) {
    syslog(LOG_AUTH | LOG_ERR, "%s:%d ERROR: %s(%d, %d)", source_, line_, kName,
           static_cast<int>(uid), static_cast<int>(gid));
  }
}

RunAs::~RunAs() {
  const int saved_errno = errno;  // for a failure inside the scope
  const uid_t uid = geteuid();
  const gid_t gid = getegid();
  bool back = TakeRoot(uid, caller_uid_);
  if (back) {
    // The user id is restored even if the group id cannot be: the process must not stay
    // root.
    const bool group = GoToGid(gid, caller_gid_);
    back = GoToUid(uid, caller_uid_) && group;
  }
  if (!back) {
    syslog(LOG_AUTH | LOG_CRIT, "%s:%d ERROR: ~%s(%d, %d)", source_, line_, kName,
           static_cast<int>(caller_uid_), static_cast<int>(caller_gid_));
  }
  errno = saved_errno;
}

}  // namespace VEXO::sharing::db
