#pragma once

#include <sys/types.h>

#include <string>

namespace VEXO::base {

/// The account that owns the databases.
inline constexpr uid_t kSystemUid = 1;
inline constexpr gid_t kSystemGid = 1;

/// Makes root act as the system account while it exists: it switches the effective user
/// and group id of the process.  The ids of any other account stay as they are.
class AsSystemAccount {
 public:
  AsSystemAccount();
  AsSystemAccount(const AsSystemAccount&) = delete;
  AsSystemAccount& operator=(const AsSystemAccount&) = delete;
  ~AsSystemAccount();

  /// False, with the reason in errno, when root could not switch (it may lack
  /// CAP_SETUID or CAP_SETGID).  The previous ids are then in force.
  bool good() const { return good_; }

  /// Switches back before the end of the scope.  False, with the reason in errno, when
  /// that fails.
  bool Restore();

 private:
  gid_t group_;
  bool switched_ = false;
  bool good_;
};

/// Makes sure that a folder of the system account exists.  Root creates a missing one,
/// with mode 0750 and a line in the log.  False, with the reason in errno, when it is
/// missing and cannot be created.
bool EnsureSystemFolder(const std::string& path);

}  // namespace VEXO::base
