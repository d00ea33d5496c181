#pragma once

#include <string_view>

#include "web/thumbnails/helper/picture.h"

namespace thumbnail {

/// Decodes a picture, scaled down to its thumbnail, upright and on white.  The first
/// bytes decide the format.  Refuses everything that is not a picture of these formats,
/// and what cannot be decoded.
Picture ReadPicture(std::string_view file);

/// For one format each.  A JPEG or PNG file that is damaged or ends too early is read as
/// far as a browser shows it; animations of WebP are refused.
Picture ReadJpeg(std::string_view file);
Picture ReadPng(std::string_view file);
Picture ReadWebP(std::string_view file);

}  // namespace thumbnail
