#include "web/thumbnails/helper/picture.h"

#include <unistd.h>

#include <algorithm>

namespace thumbnail {

void Refuse() { _exit(kNoPicture); }

void CheckSize(Size size) {
  const bool sides = size.width >= 1 && size.width <= kLargestSide && size.height >= 1 &&
                     size.height <= kLargestSide;
  if (!sides || std::uint64_t{size.width} * size.height > kMostPixels) Refuse();
}

Size ThumbnailSize(Size picture) {
  const unsigned int longer = std::max(picture.width, picture.height);
  if (longer <= kThumbnailSide) return picture;
  const auto shrink = [longer](unsigned int side) {
    return std::max(1U, (side * kThumbnailSide + longer / 2) / longer);
  };
  return {shrink(picture.width), shrink(picture.height)};
}

}  // namespace thumbnail
