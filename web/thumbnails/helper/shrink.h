#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "web/thumbnails/helper/picture.h"

namespace thumbnail {

/// Makes a picture smaller while its rows are read.  Each pixel becomes the average of
/// the area that it covers.
class Shrinker {
 public:
  /// `to` is in neither direction larger than `from`.
  Shrinker(Size from, Size to);

  /// Adds the next row, of three bytes a pixel.
  void AddRow(const std::uint8_t* row);
  /// Adds the next row, of four bytes a pixel, the last of which is the opacity: on
  /// white.
  void AddTransparentRow(const std::uint8_t* row);

  /// The small picture, when all rows have been added.
  Picture Take() { return std::move(small_); }

 private:
  void ShrinkRow(const std::uint8_t* row);
  void AddToLine(std::uint64_t weight);
  void FinishLine();

  // A large pixel is to.width units wide and a small one from.width units, so that both
  // have whole numbers; in the other direction it is the same.
  const Size from_;
  Picture small_;
  std::vector<std::uint8_t> opaque_;
  std::vector<std::uint32_t> row_;   // sums of one row
  std::vector<std::uint64_t> line_;  // sums of the rows of one line of the small picture
  std::uint64_t room_;               // units that the line still lacks
  size_t finished_ = 0;              // bytes of the small picture
};

}  // namespace thumbnail
