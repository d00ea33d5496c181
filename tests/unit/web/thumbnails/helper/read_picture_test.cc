#include "web/thumbnails/helper/read_picture.h"

#include <gmock/gmock.h>

#include "support.h"
#include "web/thumbnails/helper/write_jpeg.h"

namespace {

using testing::PrintToString;
using thumbnail::Picture;
using thumbnail::ReadPicture;
using thumbnail::WriteJpeg;
using namespace thumbnail_test;

MATCHER_P2(HasSize, width, height, "") {
  return arg.size.width == static_cast<unsigned int>(width) &&
         arg.size.height == static_cast<unsigned int>(height);
}

void ExpectRedAndBlue(const Picture& picture) {
  EXPECT_THAT(picture, HasSize(320, 240));
  EXPECT_PRED2(IsNear, At(picture, 10, 10), kRed);
  EXPECT_PRED2(IsNear, At(picture, 310, 230), kBlue);
}

TEST(ReadPicture, Jpeg_IsMadeSmaller) {
  for (const unsigned int factor : {2U, 3U, 10U}) {
    const Picture large = TwoColours({320 * factor, 240 * factor}, kRed, kBlue);
    ExpectRedAndBlue(ReadPicture(WriteJpeg(large)));
  }
}

TEST(ReadPicture, SmallJpeg_StaysAsItIs) {
  EXPECT_THAT(ReadPicture(WriteJpeg(TwoColours({20, 10}, kRed, kBlue))), HasSize(20, 10));
}

TEST(ReadPicture, JpegFromACamera_IsTurned) {
  const std::string jpeg = WriteJpeg(TwoColours({640, 480}, kRed, kBlue));
  const std::string exif = std::string("Exif\0\0MM\0*\0\0\0\x08\0\x01", 16) +
                           BigEndian(0x0112, 2) + BigEndian(3, 2) + BigEndian(1, 4) +
                           BigEndian(6, 2) + std::string(6, '\0');
  const Picture picture =
      ReadPicture(jpeg.substr(0, 2) + "\xff\xe1" + BigEndian(exif.size() + 2, 2) + exif +
                  jpeg.substr(2));

  EXPECT_THAT(picture, HasSize(240, 320));
  EXPECT_PRED2(IsNear, At(picture, 120, 10), kRed);
  EXPECT_PRED2(IsNear, At(picture, 120, 310), kBlue);
}

TEST(ReadPicture, JpegInInks_HasItsColours) {
  const std::string inverted_magenta_and_yellow = "\xff\x01\x01\xff";
  const Picture picture =
      ReadPicture(MakeInkJpeg({640, 480}, inverted_magenta_and_yellow));
  EXPECT_THAT(picture, HasSize(320, 240));
  EXPECT_PRED2(IsNear, At(picture, 160, 120), kRed);
}

TEST(ReadPicture, Png_IsMadeSmaller) {
  const Picture large = TwoColours({640, 480}, kRed, kBlue);
  ExpectRedAndBlue(ReadPicture(MakePng(large)));
  ExpectRedAndBlue(ReadPicture(MakePng(large, PNG_INTERLACE_ADAM7)));
}

TEST(ReadPicture, EachKindOfPng_HasItsColours) {
  const auto colour = [](int type, int depth, const std::string& row) {
    return At(ReadPicture(MakePng({8, 8}, type, depth, row)), 0, 0);
  };
  const auto repeat = [](const std::string& pixel) {
    std::string row;
    for (int i = 0; i < 8; ++i) row += pixel;
    return row;
  };
  EXPECT_EQ(colour(PNG_COLOR_TYPE_GRAY, 1, "\xff"), kWhite);
  EXPECT_EQ(colour(PNG_COLOR_TYPE_GRAY, 8, repeat("\x80")), 0x808080U);
  EXPECT_EQ(colour(PNG_COLOR_TYPE_GRAY, 16, repeat("\xff\xff")), kWhite);
  EXPECT_EQ(colour(PNG_COLOR_TYPE_PALETTE, 1, "\xff"), kGreen);
  EXPECT_EQ(colour(PNG_COLOR_TYPE_RGB, 16, repeat(std::string("\0\0\0\0\xff\xff", 6))),
            kBlue);
  EXPECT_EQ(colour(PNG_COLOR_TYPE_GRAY_ALPHA, 8, repeat(std::string("\0\0", 2))), kWhite);
  EXPECT_EQ(colour(PNG_COLOR_TYPE_RGB_ALPHA, 8, repeat(std::string("\0\0\0\0", 4))),
            kWhite);
  EXPECT_EQ(colour(PNG_COLOR_TYPE_RGB_ALPHA, 8, repeat(std::string("\xff\0\0\xff", 4))),
            kRed);
}

TEST(ReadPicture, WebP_IsMadeSmaller) {
  for (const bool lossless : {false, true}) {
    const Picture picture = ReadPicture(MakeWebP({640, 480}, 0xff0000ff, lossless));
    EXPECT_THAT(picture, HasSize(320, 240));
    EXPECT_PRED2(IsNear, At(picture, 160, 120), kRed);
  }
}

TEST(ReadPicture, TransparentWebP_IsOnWhite) {
  for (const bool lossless : {false, true}) {
    const Picture picture = ReadPicture(MakeWebP({640, 480}, 0, lossless));
    EXPECT_PRED2(IsNear, At(picture, 160, 120), kWhite);
  }
}

}  // namespace
