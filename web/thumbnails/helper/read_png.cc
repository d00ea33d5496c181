#include <png.h>

#include <algorithm>
#include <cstring>

#include "web/thumbnails/helper/read_picture.h"
#include "web/thumbnails/helper/shrink.h"

namespace thumbnail {
namespace {

constexpr size_t kBytes = 4;  // of a pixel: with opacity
constexpr unsigned int kOpaque = 255;

[[noreturn]] void Fail(png_structp /*png*/, const char* /*reason*/) { Refuse(); }

void Ignore(png_structp /*png*/, const char* /*warning*/) {}

/// Takes bytes from the front of the file.
void Read(png_structp png, png_bytep out, size_t size) {
  auto* const file = static_cast<std::string_view*>(png_get_io_ptr(png));
  if (size > file->size()) Refuse();
  memcpy(out, file->data(), size);
  file->remove_prefix(size);
}

/// The pixels of an interlaced picture are complete only at its end.
void AddAllRows(png_structp png, Size size, Shrinker* shrinker) {
  const size_t length = kBytes * size.width;
  std::vector<std::uint8_t> pixels(length * size.height);
  std::vector<png_bytep> rows;
  for (unsigned int y = 0; y < size.height; ++y) rows.push_back(&pixels[length * y]);
  png_read_image(png, rows.data());
  for (const std::uint8_t* const row : rows) shrinker->AddTransparentRow(row);
}

void AddRowByRow(png_structp png, Size size, Shrinker* shrinker) {
  std::vector<std::uint8_t> row(kBytes * size.width);
  for (unsigned int y = 0; y < size.height; ++y) {
    png_read_row(png, row.data(), nullptr);
    shrinker->AddTransparentRow(row.data());
  }
}

}  // namespace

Picture ReadPng(std::string_view file) {
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, Fail, Ignore);
  png_infop info = png_create_info_struct(png);
  if (info == nullptr) Refuse();
  png_set_read_fn(png, &file, Read);
  png_set_user_limits(png, kLargestSide, kLargestSide);
  // Texts, profiles and whatever else does not change the pixels are skipped.
  png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
  png_read_info(png, info);
  const Size size = {png_get_image_width(png, info), png_get_image_height(png, info)};
  CheckSize(size);

  png_set_expand(png);
  png_set_scale_16(png);
  png_set_gray_to_rgb(png);
  png_set_add_alpha(png, kOpaque, PNG_FILLER_AFTER);
  const bool interlaced = png_set_interlace_handling(png) > 1;
  png_read_update_info(png, info);

  Shrinker shrinker(size, ThumbnailSize(size));
  (interlaced ? AddAllRows : AddRowByRow)(png, size, &shrinker);
  png_destroy_read_struct(&png, &info, nullptr);
  return shrinker.Take();
}

}  // namespace thumbnail
