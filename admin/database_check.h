#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "admin/error.h"
#include "sharing_db.h"

namespace admin {

/// The problems or remarks of one kind.
struct Finding {
  std::string kind;  // for programs
  std::string text;
  std::vector<std::string> advice;  // one step each
  std::vector<std::string> items;   // where it was found
};

/// What a check found, each list in the order of the report.
struct Findings {
  std::map<size_t, Finding> problems;
  std::map<size_t, Finding> remarks;  // not wrong, but worth knowing
  long links = 0;                     // checked

  /// Adds a place where the kind was found, and a step of advice that depends on it.
  void Add(const std::string& kind, const std::string& item,
           const std::string& step = "");
};

/// Checks owner and mode of a database and of the files that belong to it.
void CheckFiles(const std::string& path, Findings& findings);

/// Checks what an open database holds: pages, schema, rows, accounts that links refer to.
/// A part that cannot be read is a problem and does not hide the other parts.
/// `progress(done, total)` is called for each link; false ends the check with the error
/// kInterrupted.
Error CheckDatabase(VEXO::sharing::db::SharingDB& database,
                    const std::function<bool(long done, long total)>& progress,
                    Findings& findings);

/// Checks what belongs to the system's own database: the list of blocked addresses and
/// the configuration of URLs.
void CheckSystem(Findings& findings);

/// Creates missing indexes and triggers again.
Error RepairSchema(VEXO::sharing::db::SharingDB& database);

}  // namespace admin
