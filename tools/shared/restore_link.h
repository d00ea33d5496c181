#pragma once

#include "base_db.h"
#include "entry.h"

namespace tools {

/// Undoes a change of a link: stores `before` in place of `after`, with the uses that were
/// counted since.  False when the link is not as `after` any more, or the database
/// failed; the link is then left as it is.
bool RestoreLink(VEXO::sharing::db::BaseDB& database,
                 const VEXO::sharing::record::Entry& before,
                 const VEXO::sharing::record::Entry& after);

}  // namespace tools
