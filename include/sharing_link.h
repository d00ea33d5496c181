#pragma once

/// @file
/// Reads a sharing link, for C and C++.  The functions are those of the library
/// vexosharingc (pkg-config: vexosharing-c), which uses the database of the library
/// vexosharing.  They throw no exception.  Only one thread at a time may call them: they
/// switch the effective ids of the process while a statement runs.

#include "keys.h"

/// A link that was read.  VexoSharingLinkFree releases it.
struct VexoSharingLink;

/// Results of VexoSharingLinkOpen.
enum VexoSharingLinkResult {
  /// The link was read.
  SHARING_LINK_FOUND = 1,
  /// There is no link with this hash.
  SHARING_LINK_ABSENT = 0,
  /// The database or the memory failed; the same call may succeed later.
  SHARING_LINK_FAILED = -1,
  /// There is a link with this hash, but its row is damaged.  Nobody can use it.
  SHARING_LINK_UNREADABLE = -2,
  /// A parameter is null.
  SHARING_LINK_BAD_PARAMETER = -3
};

/// What a visitor needs to use a link.
enum VexoSharingLinkProtection {
  /// Nothing.
  SHARING_LINK_PROTECT_NONE = 0,
  /// A password.
  SHARING_LINK_PROTECT_PASSWORD = 1,
  /// An account of the appliance that the link lists.
  SHARING_LINK_PROTECT_USER = 2
};

/// Whether a visitor can log in to a link.  When several states apply, the first in the
/// order disabled, not started, expired, use limit reached is the one returned.
enum VexoSharingLinkState {
  /// A visitor can log in.
  SHARING_LINK_USABLE = 0,
  /// The start of the link is in the future.
  SHARING_LINK_NOT_STARTED = 1,
  /// The link has expired.
  SHARING_LINK_EXPIRED = 2,
  /// The link has been used as often as it allows.
  SHARING_LINK_USE_LIMIT_REACHED = 3,
  /// The link is disabled.
  SHARING_LINK_DISABLED = 4
};

#ifdef __cplusplus
extern "C" {
#endif

/// Reads the link with this hash.  Reading counts no use and checks no protection.
///
/// @param hash       hash of the link, a text that ends with NUL
/// @param[out] link  the link; release it with VexoSharingLinkFree.  Null unless the
///                   result is SHARING_LINK_FOUND.
/// @return one of VexoSharingLinkResult
SHARING_EXPORT int VexoSharingLinkOpen(const char* hash, struct VexoSharingLink** link);

/// Title of the form that asks for a password or an account; empty when none is set.
///
/// @return a text that the link owns; null for a null link
SHARING_EXPORT const char* VexoSharingLinkGetTitle(const struct VexoSharingLink* link);

/// Name of the application that owns the link.  Check it before you serve a link: a hash
/// may belong to a link of another application.
///
/// @return a text that the link owns; null for a null link
SHARING_EXPORT const char* VexoSharingLinkGetProject(const struct VexoSharingLink* link);

/// Data that the application stored with the link, as one line of JSON in UTF-8.  It is a
/// JSON object.
///
/// @return a text that the link owns; null for a null link
SHARING_EXPORT const char* VexoSharingLinkGetApp(const struct VexoSharingLink* link);

/// What a visitor needs to use the link.
///
/// @return one of VexoSharingLinkProtection; -1 for a null link
SHARING_EXPORT int VexoSharingLinkGetProtection(const struct VexoSharingLink* link);

/// Whether a visitor can log in to the link, at the time of the call.  Everything but the
/// time is as it was when the link was read.
///
/// @return one of VexoSharingLinkState; -1 for a null link
SHARING_EXPORT int VexoSharingLinkGetState(const struct VexoSharingLink* link);

/// Releases a link and its texts.
///
/// @param link  the link; may be null
SHARING_EXPORT void VexoSharingLinkFree(struct VexoSharingLink* link);

#ifdef __cplusplus
}
#endif
