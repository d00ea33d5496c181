#pragma once

#include <string>

#include "response.h"
#include "variables.h"
#include "web/files/shared_tree.h"
#include "web/thumbnails/thumbnails.h"

namespace web {

/// The answer to a GET or HEAD request for the thumbnail of a picture, with conditions.
/// It is complete at once when the thumbnail need not be made.
///
/// @param open_link  whether the link needs no login: a browser may then keep it
Response MakeThumbnailResponse(const Variables& request, Node file,
                               const std::string& name, bool open_link,
                               const Thumbnails& thumbnails);

}  // namespace web
