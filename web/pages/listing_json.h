#pragma once

#include <string>

#include "web/files/listing.h"

namespace web {

/// A page of a folder for programs, as JSON in UTF-8 (docs/web.md has the keys).
std::string RenderListingJson(const Listing& listing, const ListingQuery& query);

}  // namespace web
