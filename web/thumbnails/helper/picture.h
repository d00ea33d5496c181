#pragma once

#include <cstdint>
#include <vector>

namespace thumbnail {

/// Largest width and height of a thumbnail.
inline constexpr unsigned int kThumbnailSide = 320;

/// Bounds of the pictures that are read.
inline constexpr unsigned int kLargestSide = 65535;
inline constexpr std::uint64_t kMostPixels = 100'000'000;

/// Exit code of the helper for what is not a picture that it reads.
inline constexpr int kNoPicture = 1;

struct Size {
  unsigned int width = 0;
  unsigned int height = 0;
};

/// Rows of pixels of three bytes: red, green and blue.
struct Picture {
  Size size;
  std::vector<std::uint8_t> pixels;
};

/// Ends the process: there will be no thumbnail.
[[noreturn]] void Refuse();

/// Refuses an empty picture, and one that exceeds the bounds.
void CheckSize(Size size);

/// The size of the thumbnail of a picture: smaller where necessary, never larger.
Size ThumbnailSize(Size picture);

}  // namespace thumbnail
