#pragma once

#include <string>

#include "web/files/listing.h"

namespace web {

/// The address of another page, order or view of the folder, relative to its own.
std::string ListingHref(const ListingQuery& query);

/// The same, relative to a file in the folder.
std::string FolderHref(const ListingQuery& query);

/// The relative address of the page of a file in the folder.  It keeps view and order,
/// for the links to the pictures before and after, and back.
std::string FileViewHref(const std::string& name, const ListingQuery& query);

}  // namespace web
