#include "support.h"

#include <webp/encode.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "web/thumbnails/helper/jpeg_errors.h"

namespace thumbnail_test {

using thumbnail::Picture;
using thumbnail::Size;

Picture TwoColours(Size size, Colour left, Colour right) {
  Picture picture = {size, {}};
  for (unsigned int y = 0; y < size.height; ++y) {
    for (unsigned int x = 0; x < size.width; ++x) {
      const Colour colour = x < size.width / 2 ? left : right;
      for (int shift = 16; shift >= 0; shift -= 8) {
        picture.pixels.push_back(static_cast<std::uint8_t>(colour >> shift));
      }
    }
  }
  return picture;
}

Colour At(const Picture& picture, unsigned int x, unsigned int y) {
  const std::uint8_t* const pixel =
      &picture.pixels.at(3 * (size_t{y} * picture.size.width + x));
  return pixel[0] << 16 | pixel[1] << 8 | pixel[2];
}

bool IsNear(Colour left, Colour right) {
  for (int shift = 16; shift >= 0; shift -= 8) {
    const int difference =
        static_cast<int>(left >> shift & 0xff) - static_cast<int>(right >> shift & 0xff);
    if (abs(difference) > 12) return false;
  }
  return true;
}

std::string MakePng(Size size, int type, int depth, const std::string& row,
                    int interlace) {
  std::string file;
  png_structp png =
      png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_write_fn(
      png, &file,
      [](png_structp writer, png_bytep data, size_t length) {
        static_cast<std::string*>(png_get_io_ptr(writer))
            ->append(reinterpret_cast<const char*>(data), length);
      },
      nullptr);
  png_set_IHDR(png, info, size.width, size.height, depth, type, interlace, 0, 0);
  if (type == PNG_COLOR_TYPE_PALETTE) {
    const png_color palette[] = {{255, 0, 0}, {0, 255, 0}};
    png_set_PLTE(png, info, palette, 2);
  }
  png_write_info(png, info);
  const auto* const bytes = reinterpret_cast<const png_byte*>(row.data());
  std::vector<png_bytep> rows(size.height, const_cast<png_bytep>(bytes));
  png_write_image(png, rows.data());
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return file;
}

std::string MakePng(const Picture& picture, int interlace) {
  const std::string row(picture.pixels.begin(),
                        picture.pixels.begin() + 3 * picture.size.width);
  return MakePng(picture.size, PNG_COLOR_TYPE_RGB, 8, row, interlace);
}

std::string MakeInkJpeg(Size size, const std::string& pixel) {
  jpeg_compress_struct jpeg = {};
  jpeg_error_mgr errors = {};
  jpeg.err = thumbnail::RefuseOnErrors(&errors);
  jpeg_create_compress(&jpeg);
  unsigned char* data = nullptr;
  unsigned long length = 0;
  jpeg_mem_dest(&jpeg, &data, &length);
  jpeg.image_width = size.width;
  jpeg.image_height = size.height;
  jpeg.input_components = 4;
  jpeg.in_color_space = JCS_CMYK;
  jpeg_set_defaults(&jpeg);
  jpeg_start_compress(&jpeg, TRUE);
  std::string row;
  for (unsigned int x = 0; x < size.width; ++x) row += pixel;
  JSAMPROW rows[] = {reinterpret_cast<JSAMPROW>(row.data())};
  for (unsigned int y = 0; y < size.height; ++y) jpeg_write_scanlines(&jpeg, rows, 1);
  jpeg_finish_compress(&jpeg);
  jpeg_destroy_compress(&jpeg);
  std::string file(reinterpret_cast<const char*>(data), length);
  free(data);
  return file;
}

std::string MakeWebP(Size size, std::uint32_t colour, bool lossless) {
  std::string pixels;
  for (size_t i = 0; i < size_t{size.width} * size.height; ++i) {
    pixels += BigEndian(colour, 4);
  }
  const auto* const data = reinterpret_cast<const std::uint8_t*>(pixels.data());
  const int width = static_cast<int>(size.width);
  const int height = static_cast<int>(size.height);
  std::uint8_t* output = nullptr;
  const size_t length =
      lossless ? WebPEncodeLosslessRGBA(data, width, height, 4 * width, &output)
               : WebPEncodeRGBA(data, width, height, 4 * width, 90, &output);
  std::string file(reinterpret_cast<const char*>(output), length);
  WebPFree(output);
  return file;
}

std::string BigEndian(std::uint64_t number, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>(number >> (8 * i));
  return text;
}

std::string LittleEndian(std::uint64_t number, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(number >> (8 * i));
  return text;
}

std::string PngChunk(const std::string& type, const std::string& data) {
  const std::string checked = type + data;
  const unsigned long checksum =
      crc32(0, reinterpret_cast<const Bytef*>(checked.data()), checked.size());
  return BigEndian(data.size(), 4) + checked + BigEndian(checksum, 4);
}

}  // namespace thumbnail_test
