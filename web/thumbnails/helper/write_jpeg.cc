#include "web/thumbnails/helper/write_jpeg.h"

#include <cstdlib>

#include "web/thumbnails/helper/jpeg_errors.h"

namespace thumbnail {
namespace {

constexpr int kQuality = 80;
constexpr int kBytes = 3;

}  // namespace

std::string WriteJpeg(const Picture& picture) {
  jpeg_compress_struct jpeg = {};
  jpeg_error_mgr errors = {};
  jpeg.err = RefuseOnErrors(&errors);
  jpeg_create_compress(&jpeg);
  unsigned char* data = nullptr;
  unsigned long length = 0;
  jpeg_mem_dest(&jpeg, &data, &length);
  jpeg.image_width = picture.size.width;
  jpeg.image_height = picture.size.height;
  jpeg.input_components = kBytes;
  jpeg.in_color_space = JCS_RGB;
  jpeg_set_defaults(&jpeg);
  jpeg_set_quality(&jpeg, kQuality, TRUE);
  jpeg.optimize_coding = TRUE;
  jpeg_start_compress(&jpeg, TRUE);
  const size_t row_length = size_t{kBytes} * picture.size.width;
  while (jpeg.next_scanline < jpeg.image_height) {
    // The library only reads the rows, although its type says otherwise.
    JSAMPROW rows[] = {
        const_cast<JSAMPROW>(&picture.pixels[row_length * jpeg.next_scanline])};
    jpeg_write_scanlines(&jpeg, rows, 1);
  }
  jpeg_finish_compress(&jpeg);
  jpeg_destroy_compress(&jpeg);
  std::string file(reinterpret_cast<const char*>(data), length);
  free(data);
  return file;
}

}  // namespace thumbnail
