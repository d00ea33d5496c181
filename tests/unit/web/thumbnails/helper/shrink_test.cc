#include "web/thumbnails/helper/shrink.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::ExitedWithCode;
using thumbnail::CheckSize;
using thumbnail::Shrinker;
using thumbnail::Size;
using thumbnail::ThumbnailSize;

MATCHER_P2(IsSize, width, height, "") {
  return arg.width == static_cast<unsigned int>(width) &&
         arg.height == static_cast<unsigned int>(height);
}

TEST(ThumbnailSize, LongerSide_HasAtMost320Pixels) {
  EXPECT_THAT(ThumbnailSize({4000, 3000}), IsSize(320, 240));
  EXPECT_THAT(ThumbnailSize({3000, 4000}), IsSize(240, 320));
  EXPECT_THAT(ThumbnailSize({321, 321}), IsSize(320, 320));
  EXPECT_THAT(ThumbnailSize({65535, 1}), IsSize(320, 1));
  EXPECT_THAT(ThumbnailSize({1, 65535}), IsSize(1, 320));
}

TEST(ThumbnailSize, SmallPictures_StayAsTheyAre) {
  EXPECT_THAT(ThumbnailSize({320, 320}), IsSize(320, 320));
  EXPECT_THAT(ThumbnailSize({1, 1}), IsSize(1, 1));
}

TEST(CheckSizeDeathTest, PicturesBeyondTheBounds_AreRefused) {
  CheckSize({10000, 10000});
  CheckSize({65535, 1});
  for (const Size size : {Size{0, 1}, Size{1, 0}, Size{65536, 1}, Size{1, 65536},
                          Size{65535, 65535}, Size{10000, 10001}}) {
    EXPECT_EXIT(CheckSize(size), ExitedWithCode(thumbnail::kNoPicture), "");
  }
}

TEST(Shrinker, Pixel_IsTheAverageOfItsArea) {
  Shrinker shrinker({3, 1}, {2, 1});
  const std::uint8_t row[] = {0, 10, 20, 90, 10, 20, 180, 10, 20};
  shrinker.AddRow(row);
  EXPECT_THAT(shrinker.Take().pixels, ElementsAre(30, 10, 20, 150, 10, 20));
}

TEST(Shrinker, Rows_AreAveragedAsColumns) {
  Shrinker shrinker({1, 3}, {1, 2});
  for (const std::uint8_t value : {0, 90, 180}) {
    const std::uint8_t row[] = {value, 10, 20};
    shrinker.AddRow(row);
  }
  EXPECT_THAT(shrinker.Take().pixels, ElementsAre(30, 10, 20, 150, 10, 20));
}

TEST(Shrinker, PictureOfTheSameSize_IsUnchanged) {
  Shrinker shrinker({2, 2}, {2, 2});
  const std::uint8_t rows[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  shrinker.AddRow(rows);
  shrinker.AddRow(rows + 6);
  EXPECT_THAT(shrinker.Take().pixels, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12));
}

TEST(Shrinker, TransparentPixels_AreOnWhite) {
  Shrinker shrinker({3, 1}, {3, 1});
  const std::uint8_t row[] = {10, 20, 30, 255, 10, 20, 30, 0, 0, 0, 0, 128};
  shrinker.AddTransparentRow(row);
  EXPECT_THAT(shrinker.Take().pixels,
              ElementsAre(10, 20, 30, 255, 255, 255, 127, 127, 127));
}

TEST(Shrinker, LargestPicture_DoesNotOverflow) {
  const Size size = {65535, 1525};
  Shrinker shrinker(size, ThumbnailSize(size));
  const std::vector<std::uint8_t> row(size_t{3} * size.width, 255);
  for (unsigned int y = 0; y < size.height; ++y) shrinker.AddRow(row.data());
  EXPECT_THAT(shrinker.Take().pixels, testing::Each(255));
}

}  // namespace
