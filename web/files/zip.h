#pragma once

#include <memory>
#include <string>
#include <vector>

#include "web/files/body.h"
#include "web/files/shared_tree.h"

namespace web {

/// A folder of the tree as a zip file, which is made while it is sent: no temporary file,
/// nothing compressed, entries "NAME/...", folders (empty ones too) and times included.
/// Folders behind links are left out.  When a file cannot be read to the length that it
/// had, or the folder exceeds what can be packed (kMaxEntries, kMaxNameBytes of paths,
/// kMaxDepth), sending fails and the zip ends without its directory, so that no program
/// takes it for complete.
///
/// Unless `only` is empty, only the entries of the folder that it names are packed.
///
/// Null, with one line in the log, when the archive library cannot be loaded.  The tree
/// must outlive the body.
std::unique_ptr<Body> ZipFolder(const SharedTree& tree, Node folder,
                                const std::string& name,
                                std::vector<std::string> only = {});

}  // namespace web
