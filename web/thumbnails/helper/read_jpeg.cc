#include <algorithm>

#include "web/thumbnails/helper/jpeg_errors.h"
#include "web/thumbnails/helper/orientation.h"
#include "web/thumbnails/helper/read_picture.h"
#include "web/thumbnails/helper/shrink.h"

namespace thumbnail {
namespace {

constexpr int kExifMarker = JPEG_APP0 + 1;
constexpr unsigned int kLongestMarker = 0xffff;
constexpr unsigned int kFull = 8;  // scales are eighths
constexpr unsigned int kMostInk = 255;

int OrientationOf(const jpeg_decompress_struct& jpeg) {
  for (const jpeg_marker_struct* marker = jpeg.marker_list; marker != nullptr;
       marker = marker->next) {
    const auto* const data = reinterpret_cast<const char*>(marker->data);
    const int orientation = ReadOrientation({data, marker->data_length});
    if (orientation != 1) return orientation;
  }
  return 1;
}

/// The smallest scale, in eighths, at which the picture is not smaller than its
/// thumbnail.  A picture that is decoded smaller costs less.
unsigned int ScaleOf(const jpeg_decompress_struct& jpeg) {
  const unsigned int longer = std::max(jpeg.image_width, jpeg.image_height);
  unsigned int scale = 1;
  while (scale < kFull && longer * scale < kThumbnailSide * kFull) scale *= 2;
  return scale;
}

/// Cyan, magenta, yellow and black, inverted as Adobe's programs write them, to red,
/// green and blue, in place.
void ConvertInks(std::vector<std::uint8_t>* row) {
  std::uint8_t* out = row->data();
  for (size_t i = 0; i + 4 <= row->size(); i += 4) {
    const unsigned int black = (*row)[i + 3];
    for (size_t ink = 0; ink < 3; ++ink) {
      *out++ = static_cast<std::uint8_t>((*row)[i + ink] * black / kMostInk);
    }
  }
}

}  // namespace

Picture ReadJpeg(std::string_view file) {
  jpeg_decompress_struct jpeg = {};
  jpeg_error_mgr errors = {};
  jpeg.err = RefuseOnErrors(&errors);
  jpeg_create_decompress(&jpeg);
  jpeg_save_markers(&jpeg, kExifMarker, kLongestMarker);
  jpeg_mem_src(&jpeg, reinterpret_cast<const unsigned char*>(file.data()), file.size());
  jpeg_read_header(&jpeg, TRUE);
  CheckSize({jpeg.image_width, jpeg.image_height});

  const bool inks =
      jpeg.jpeg_color_space == JCS_CMYK || jpeg.jpeg_color_space == JCS_YCCK;
  jpeg.out_color_space = inks ? JCS_CMYK : JCS_RGB;
  jpeg.scale_num = ScaleOf(jpeg);
  jpeg.scale_denom = kFull;
  jpeg.do_fancy_upsampling = FALSE;
  jpeg_start_decompress(&jpeg);

  const Size size = {jpeg.output_width, jpeg.output_height};
  Shrinker shrinker(size, ThumbnailSize(size));
  std::vector<std::uint8_t> row(size_t{jpeg.output_width} * jpeg.output_components);
  while (jpeg.output_scanline < jpeg.output_height) {
    JSAMPROW rows[] = {row.data()};
    jpeg_read_scanlines(&jpeg, rows, 1);
    if (inks) ConvertInks(&row);
    shrinker.AddRow(row.data());
  }
  const int orientation = OrientationOf(jpeg);
  jpeg_destroy_decompress(&jpeg);
  return Upright(shrinker.Take(), orientation);
}

}  // namespace thumbnail
