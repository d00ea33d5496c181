#pragma once

#include <sys/types.h>

#include <ctime>
#include <vector>

namespace web {

/// The account with whose rights a link's files are read.
struct Owner {
  uid_t user = 0;
  gid_t group = 0;
  std::vector<gid_t> groups;  ///< all of them, the primary group included

  /// Whether the account is in the group.
  bool IsIn(gid_t id) const;
};

enum class OwnerLookup {
  kFound,
  kGone,    ///< no such account, or one that is locked or has expired
  kFailed,  ///< the accounts cannot be read now; the reason is in errno
};

/// Looks up the account of a link's owner.  A locked or expired account is noticed only
/// by a process that may read the shadow file.  `owner` is set when it is found.
OwnerLookup FindOwner(uid_t user, time_t now, Owner* owner);

}  // namespace web
