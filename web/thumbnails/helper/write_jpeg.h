#pragma once

#include <string>

#include "web/thumbnails/helper/picture.h"

namespace thumbnail {

/// The picture as a JPEG file.
std::string WriteJpeg(const Picture& picture);

}  // namespace thumbnail
