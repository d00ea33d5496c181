#pragma once

#include <png.h>

#include <cstdint>
#include <string>

#include "web/thumbnails/helper/picture.h"

namespace thumbnail_test {

using Colour = std::uint32_t;  ///< red, green and blue, from the highest of three bytes

inline constexpr Colour kRed = 0xff0000;
inline constexpr Colour kGreen = 0x00ff00;
inline constexpr Colour kBlue = 0x0000ff;
inline constexpr Colour kWhite = 0xffffff;
inline constexpr Colour kBlack = 0x000000;

/// A picture whose left half has one colour and whose right half another.
thumbnail::Picture TwoColours(thumbnail::Size size, Colour left, Colour right);

/// The colour of a pixel.
Colour At(const thumbnail::Picture& picture, unsigned int x, unsigned int y);

/// Whether the colours look the same after lossy compression.
bool IsNear(Colour left, Colour right);

/// A PNG file.
///
/// @param rows  bytes of each row, as type and depth say; all rows are equal
std::string MakePng(thumbnail::Size size, int type, int depth, const std::string& row,
                    int interlace = PNG_INTERLACE_NONE);
/// The same of a picture.
std::string MakePng(const thumbnail::Picture& picture,
                    int interlace = PNG_INTERLACE_NONE);

/// A JPEG file in inks, as Adobe's programs write it: inverted.
std::string MakeInkJpeg(thumbnail::Size size, const std::string& pixel);

/// WebP files of one colour, with opacity as the lowest byte of four.
std::string MakeWebP(thumbnail::Size size, std::uint32_t colour, bool lossless);

/// A number in so many bytes, the highest first or last.
std::string BigEndian(std::uint64_t number, int bytes);
std::string LittleEndian(std::uint64_t number, int bytes);

/// A PNG chunk with its length and checksum.
std::string PngChunk(const std::string& type, const std::string& data);

}  // namespace thumbnail_test
