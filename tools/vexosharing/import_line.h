#pragma once

#include <string>

#include "database.h"
#include "entry.h"

namespace command {

using VEXO::sharing::record::Entry;

/// What a line of an import says.
struct ImportLine {
  Entry link;
  /// The link asks for a password that the line does not hold.  It is closed, under a
  /// password that nobody knows.
  bool without_password = false;
};

/// Reads one line.  False, with the reason, when it is no legal link: a member that is
/// missing, unknown or of the wrong kind, or an owner who is not known here.  The reason
/// never holds a secret.
bool ParseImportLine(const std::string& text, BaseDB& db, ImportLine& line,
                     std::string& reason);

}  // namespace command
