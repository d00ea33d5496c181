#pragma once

#include <cstddef>

// The access log: the web front end appends a line of JSON for each visit, and the
// administrator's command reads the lines.  docs/web.md describes them.

namespace VEXO::base {

inline constexpr char kAccessLogFolder[] = "/usr/vexo/var/log/sharing";
/// The current file.  Rotated files have a dot and a number appended.
inline constexpr char kAccessLogName[] = "access.log";

/// Maximum length of a line in bytes, including the newline.
inline constexpr size_t kLongestAccessLine = 4095;

/// Beginning of a line, up to its time.
inline constexpr char kAccessLineBegin[] = R"({"time":")";

// Events.  Visitors who are admitted:
inline constexpr char kEventList[] = "list";          // page of a folder
inline constexpr char kEventView[] = "view";          // page of a file
inline constexpr char kEventDownload[] = "download";  // a file, from its first byte on
inline constexpr char kEventPart[] = "part";          // a later part of a file
inline constexpr char kEventZip[] = "zip";            // a folder
inline constexpr char kEventUpload[] = "upload";      // files for a drop box
inline constexpr char kEventRedirect[] = "redirect";  // to the redirect URI of the link
inline constexpr char kEventMissing[] = "missing";    // nothing at this path
// Forms:
inline constexpr char kEventLogin[] = "login";
inline constexpr char kEventLoginFailed[] = "login-failed";
inline constexpr char kEventLogout[] = "logout";
inline constexpr char kEventRefused[] = "refused";
inline constexpr char kEventUsedUp[] = "used-up";
inline constexpr char kEventBlocked[] = "blocked";

}  // namespace VEXO::base
