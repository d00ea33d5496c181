#include "admin/error.h"

#include <utility>

namespace admin {

Error DatabaseError(const VEXO::sharing::db::BaseDB& database) {
  const std::string reason = database.GetLastError();
  if (reason == "interrupted") {
    return {kInterrupted, "interrupted while waiting for the database lock", ""};
  }
  const std::pair<const char*, const char*> hints[] = {
      {"locked", "another program is using it, try again later"},
      {"malformed", "run vexosharing check"},
      {"not a database", "restore a backup with vexosharing restore"},
      {"full", "free some disk space"},
      {"disk I/O", "the disk is full or failing"}};
  for (const auto& [words, hint] : hints) {
    if (reason.find(words) != std::string::npos) {
      return {kDatabaseNotUsable, "database error: " + reason, hint};
    }
  }
  return {kDatabaseNotUsable, "database error" + (reason.empty() ? "" : ": " + reason),
          reason.empty() ? "see the system log" : ""};
}

}  // namespace admin
