#pragma once

#include "base_db.h"
#include "entry.h"

namespace tools {

/// Undoes a change of a link: replaces `after` by `before` and keeps the uses counted
/// since.  False, with the link unchanged, when it no longer matches `after`, has been
/// deleted, or the database fails.
bool RestoreLink(VEXO::sharing::db::BaseDB& database,
                 const VEXO::sharing::record::Entry& before,
                 const VEXO::sharing::record::Entry& after);

}  // namespace tools
