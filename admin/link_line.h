#pragma once

#include <string>

#include "admin/error.h"
#include "base_db.h"
#include "entry.h"

// Links as lines of JSON, for export and import.

namespace admin {

using VEXO::sharing::record::Entry;

/// The link as one line without its end.  Stored password and private data are left out
/// unless `with_secrets` is set.
std::string LinkLine(const Entry& link, bool with_secrets);

/// A link read from a line.
struct LineLink {
  Entry link;
  /// The link is protected by a password that the line does not hold.  It is disabled
  /// and has a random password.
  bool without_password = false;
};

/// Reads a line.  The error names what is wrong: a member that is missing, unknown or of
/// the wrong type, a hash that cannot be part of a URL, or an owner who does not exist
/// on this machine.  It never holds a secret.  `database` only helps to build the record.
Error ParseLinkLine(const std::string& text, VEXO::sharing::db::BaseDB& database,
                    LineLink& line);

}  // namespace admin
