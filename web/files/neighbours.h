#pragma once

#include <string>

#include "web/files/listing.h"
#include "web/files/shared_tree.h"

namespace web {

/// Names of the pictures before and after a picture of the folder; empty where there is
/// none.
struct Neighbours {
  std::string previous;
  std::string next;
};

/// Finds them in the order of the query; it looks at kMaxEntries entries at most.  What
/// was read is of account when the folder cannot be read to its end.
Neighbours FindNeighbours(const SharedTree& tree, const Node& folder,
                          const ListingQuery& query, const ListingEntry& picture);

}  // namespace web
