#include "web/thumbnails/helper/orientation.h"

#include <gmock/gmock.h>

#include "support.h"

namespace {

using testing::ElementsAre;
using thumbnail::Picture;
using thumbnail::ReadOrientation;
using thumbnail::Upright;
using thumbnail_test::BigEndian;
using thumbnail_test::LittleEndian;

/// A marker with one entry before the orientation, which may have a wrong tag or type.
std::string Marker(decltype(BigEndian)* number, int value, int tag = 0x0112,
                   int type = 3) {
  const std::string order = number == &LittleEndian ? "II" : "MM";
  return std::string("Exif\0\0", 6) + order + number(42, 2) + number(8, 4) +
         number(2, 2) + number(0x010f, 2) + number(2, 2) + number(1, 4) +
         number(0, 4) +  // the maker
         number(tag, 2) + number(type, 2) + number(1, 4) + number(value, 2) +
         number(0, 2) + number(0, 4);
}

TEST(ReadOrientation, BothByteOrders_AreRead) {
  for (int value = 1; value <= 8; ++value) {
    EXPECT_EQ(ReadOrientation(Marker(LittleEndian, value)), value);
    EXPECT_EQ(ReadOrientation(Marker(BigEndian, value)), value);
  }
}

TEST(ReadOrientation, AnythingElse_IsNormal) {
  EXPECT_EQ(ReadOrientation(""), 1);
  EXPECT_EQ(ReadOrientation("http://ns.adobe.com/xap/1.0/"), 1);
  EXPECT_EQ(ReadOrientation(Marker(BigEndian, 0)), 1);
  EXPECT_EQ(ReadOrientation(Marker(BigEndian, 9)), 1);
  EXPECT_EQ(ReadOrientation(Marker(BigEndian, 65535)), 1);
  EXPECT_EQ(ReadOrientation(Marker(BigEndian, 6, 0x0113)), 1);
  EXPECT_EQ(ReadOrientation(Marker(BigEndian, 6, 0x0112, 4)), 1);
}

TEST(ReadOrientation, MarkerThatEndsTooEarly_IsNormal) {
  const std::string marker = Marker(LittleEndian, 6);
  const size_t end_of_value = marker.size() - 6;
  for (size_t length = 0; length < marker.size(); ++length) {
    const std::string cut = marker.substr(0, length);
    EXPECT_EQ(ReadOrientation(cut), length < end_of_value ? 1 : 6) << length;
  }
}

TEST(ReadOrientation, PositionsAndCountsBeyondTheEnd_AreNormal) {
  for (const std::uint32_t offset : {9U, 36U, 1000U, 0x7fffffffU, 0xffffffffU}) {
    std::string marker = Marker(LittleEndian, 6);
    marker.replace(10, 4, LittleEndian(offset, 4));
    EXPECT_EQ(ReadOrientation(marker), 1) << offset;
  }
  std::string marker = Marker(LittleEndian, 6, 0x0113);
  marker.replace(14, 2, LittleEndian(65535, 2));
  EXPECT_EQ(ReadOrientation(marker), 1);
}

/// The picture  0 1 2  in the file, and what a visitor sees, row after row.
///              3 4 5
std::vector<int> Seen(int orientation, unsigned int width) {
  Picture picture = {{3, 2}, {}};
  for (std::uint8_t pixel = 0; pixel < 6; ++pixel) {
    picture.pixels.insert(picture.pixels.end(), 3, pixel);
  }
  const Picture upright = Upright(picture, orientation);
  EXPECT_EQ(upright.size.width, width);
  EXPECT_EQ(upright.size.height, 6 / width);
  std::vector<int> seen;
  for (size_t i = 0; i < upright.pixels.size(); i += 3) seen.push_back(upright.pixels[i]);
  return seen;
}

TEST(Upright, EachOrientation_IsTurnedAsItMeans) {
  EXPECT_THAT(Seen(1, 3), ElementsAre(0, 1, 2, 3, 4, 5));
  EXPECT_THAT(Seen(2, 3), ElementsAre(2, 1, 0, 5, 4, 3));
  EXPECT_THAT(Seen(3, 3), ElementsAre(5, 4, 3, 2, 1, 0));
  EXPECT_THAT(Seen(4, 3), ElementsAre(3, 4, 5, 0, 1, 2));
  EXPECT_THAT(Seen(5, 2), ElementsAre(0, 3, 1, 4, 2, 5));
  EXPECT_THAT(Seen(6, 2), ElementsAre(3, 0, 4, 1, 5, 2));
  EXPECT_THAT(Seen(7, 2), ElementsAre(5, 2, 4, 1, 3, 0));
  EXPECT_THAT(Seen(8, 2), ElementsAre(2, 5, 1, 4, 0, 3));
}

}  // namespace
