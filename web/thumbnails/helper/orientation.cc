#include "web/thumbnails/helper/orientation.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace thumbnail {
namespace {

constexpr std::string_view kExif("Exif\0\0", 6);
constexpr unsigned int kOrientationTag = 0x0112;
constexpr unsigned int kShort = 3;  // the type of two bytes
constexpr size_t kEntrySize = 12;
constexpr int kNormal = 1;
constexpr int kLast = 8;
constexpr size_t kBytes = 3;

/// The numbers of a TIFF file.
class Tiff {
 public:
  explicit Tiff(std::string_view data)
      : data_(data), little_(data.substr(0, 2) == "II") {}

  /// The number at a position; nothing beyond the end.
  std::optional<std::uint32_t> Number(size_t position, size_t bytes) const {
    if (position > data_.size() || data_.size() - position < bytes) return std::nullopt;
    std::uint32_t number = 0;
    for (size_t i = 0; i < bytes; ++i) {
      const size_t at = little_ ? bytes - 1 - i : i;
      number = number << 8 | static_cast<std::uint8_t>(data_[position + at]);
    }
    return number;
  }

 private:
  std::string_view data_;
  bool little_;
};

}  // namespace

int ReadOrientation(std::string_view marker) {
  if (marker.substr(0, kExif.size()) != kExif) return kNormal;
  const Tiff tiff(marker.substr(kExif.size()));
  const size_t ifd = tiff.Number(4, 4).value_or(0);
  const size_t count = tiff.Number(ifd, 2).value_or(0);
  for (size_t i = 0; i < count; ++i) {
    const size_t entry = ifd + 2 + i * kEntrySize;
    const std::optional<std::uint32_t> tag = tiff.Number(entry, 2);
    if (!tag) break;
    if (*tag != kOrientationTag || tiff.Number(entry + 2, 2) != kShort) continue;
    const int value = static_cast<int>(tiff.Number(entry + 8, 2).value_or(kNormal));
    return value >= kNormal && value <= kLast ? value : kNormal;
  }
  return kNormal;
}

Picture Upright(Picture picture, int orientation) {
  if (orientation == kNormal) return picture;
  const auto [width, height] = picture.size;
  // Values 5 to 8 swap rows and columns; the flags say which of the two is stored
  // backwards.
  const bool exchanged = orientation >= 5;
  const bool right_to_left =
      orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
  const bool bottom_to_top =
      orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
  Picture upright;
  upright.size = exchanged ? Size{height, width} : picture.size;
  upright.pixels.reserve(picture.pixels.size());
  for (unsigned int y = 0; y < upright.size.height; ++y) {
    for (unsigned int x = 0; x < upright.size.width; ++x) {
      unsigned int column = exchanged ? y : x;
      unsigned int row = exchanged ? x : y;
      if (right_to_left) column = width - 1 - column;
      if (bottom_to_top) row = height - 1 - row;
      const auto pixel =
          picture.pixels.begin() +
          static_cast<std::ptrdiff_t>(kBytes * (size_t{row} * width + column));
      upright.pixels.insert(upright.pixels.end(), pixel, pixel + kBytes);
    }
  }
  return upright;
}

}  // namespace thumbnail
