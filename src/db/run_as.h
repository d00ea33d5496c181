#pragma once

#include <sys/types.h>

namespace VEXO::sharing::db {

// The system account, which owns the database, and root, for the recovery.
constexpr uid_t kSystemUid = 1;
constexpr gid_t kSystemGid = 1;
constexpr uid_t kRootUid = 0;
constexpr gid_t kRootGid = 0;

/// A scope with other effective user and group ids.  The destructor restores the ids of
/// the caller.  Real and saved ids are not changed.  The switch applies to the whole
/// process. Failures are logged.  The caller must check that the scope is in force.
class RunAs {
 public:
  /// @param source  name of the caller's source file for the log; must outlive the scope
  /// @param line    line number for the log
  RunAs(uid_t uid, gid_t gid, const char* source, int line);
  ~RunAs();
  RunAs(const RunAs&) = delete;
  RunAs& operator=(const RunAs&) = delete;

  explicit operator bool() const { return in_force_; }

 private:
  const uid_t caller_uid_;
  const gid_t caller_gid_;
  const char* const source_;
  const int line_;
  bool in_force_;
};

}  // namespace VEXO::sharing::db
