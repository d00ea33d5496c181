#pragma once

#include <sys/types.h>

#include <vector>

#include "web/files/owner.h"

namespace web {

/// Makes the calling thread access files as the owner, with all the owner's groups and no
/// right beyond, while it exists.  No other id changes.  Ends the program when the
/// previous ids cannot be restored: it must not go on with another account's rights.
class AsOwner {
 public:
  explicit AsOwner(const Owner& owner);
  AsOwner(const AsOwner&) = delete;
  AsOwner& operator=(const AsOwner&) = delete;
  ~AsOwner();

  /// False when the process may not become the owner; files are then accessed with the
  /// previous rights or, when nothing but extra rights is wrong, with more than the
  /// owner's.
  bool good() const { return good_; }

 private:
  std::vector<gid_t> groups_;
  uid_t user_ = 0;
  gid_t group_ = 0;
  int signal_of_parent_ = 0;
  bool switched_ = false;
  bool good_ = false;
};

}  // namespace web
