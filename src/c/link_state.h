#pragma once

#include "entry.h"
#include "sharing_link.h"

/// Whether the login asks for a password or an account.
inline bool IsProtected(const VEXO::sharing::record::Entry& link) {
  using VEXO::sharing::record::Entry;
  return link.get_protect_type() == Entry::PROTECT_PASSWORD ||
         link.get_protect_type() == Entry::PROTECT_USER;
}

inline bool IsUseLimited(const VEXO::sharing::record::Entry& link) {
  return link.get_expire_times() > 0;
}

/// Whether visitors must log in to use the link.
inline bool NeedsLogin(const VEXO::sharing::record::Entry& link) {
  return IsProtected(link) || IsUseLimited(link);
}

/// The state of a link at the time `now`, by the rule of the login.  Entry::IsValid
/// allows one use more.
inline VexoSharingLinkState StateOfLink(const VEXO::sharing::record::Entry& link,
                                        long now) {
  if (!link.get_enabled()) return SHARING_LINK_DISABLED;
  if (link.get_start_at() > now) return SHARING_LINK_NOT_STARTED;
  if (link.get_expire_at() > 0 && link.get_expire_at() < now) return SHARING_LINK_EXPIRED;
  return IsUseLimited(link) && link.get_use_count() >= link.get_expire_times()
             ? SHARING_LINK_USE_LIMIT_REACHED
             : SHARING_LINK_USABLE;
}
