#pragma once

#include <sys/types.h>

namespace VEXO::sharing::db {

// The account that owns the database, and the one that a recovery needs.
constexpr uid_t kSystemUid = 1;
constexpr gid_t kSystemGid = 1;
constexpr uid_t kRootUid = 0;
constexpr gid_t kRootGid = 0;

/// A block that runs under other effective user and group ids, and puts the caller's back
/// at its end.  Real and saved ids stay.  The switch is process-wide.  Failures are
/// logged; whoever opens a scope must test that it is in force.
class RunAs {
 public:
  /// `source` and `line` name the opener in the log; `source` outlives the scope.
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
