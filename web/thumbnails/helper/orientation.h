#pragma once

#include <string_view>

#include "web/thumbnails/helper/picture.h"

namespace thumbnail {

/// The orientation, 1 to 8, in a marker APP1 of a JPEG file (Exif 2.32, tag 0x0112); 1,
/// the normal one, when the marker has none.
int ReadOrientation(std::string_view marker);

/// Turns and mirrors a picture of this orientation so that it is shown upright.
Picture Upright(Picture picture, int orientation);

}  // namespace thumbnail
