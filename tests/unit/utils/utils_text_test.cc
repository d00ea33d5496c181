#include <gmock/gmock.h>

#include <limits>
#include <string>
#include <vector>

#include "fake_platform.h"
#include "utils.h"

namespace VEXO::sharing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Number of the draws 0 to 99 that hit.
int Hits(float probability) {
  fakes::Platform platform;
  int hits = 0;
  for (int draw = 0; draw < 100; ++draw) {
    platform.random_numbers = {draw};
    if (IsProbabilityHit(probability)) ++hits;
  }
  return hits;
}

TEST(IsProbabilityHit, EveryCall_DrawsOnceFrom0To99) {
  fakes::Platform platform;

  IsProbabilityHit(0.5F);
  EXPECT_THAT(platform.calls(), ElementsAre("random(0, 99)"));
}

TEST(IsProbabilityHit, DrawBelowTheHundredths_Hits) {
  fakes::Platform platform;
  platform.random_numbers = {0, 4, 5, 99};

  EXPECT_TRUE(IsProbabilityHit(0.05F));
  EXPECT_TRUE(IsProbabilityHit(0.05F));
  EXPECT_FALSE(IsProbabilityHit(0.05F));
  EXPECT_FALSE(IsProbabilityHit(0.05F));
}

TEST(IsProbabilityHit, Probability_IsCutToWholeHundredths) {
  EXPECT_EQ(0, Hits(0.009F));
  EXPECT_EQ(1, Hits(0.01F));
  EXPECT_EQ(1, Hits(0.019F));
  EXPECT_EQ(50, Hits(0.5F));
  EXPECT_EQ(99, Hits(0.999F));
}

TEST(IsProbabilityHit, Hundredths_AreTakenInSinglePrecision) {
  // In double precision this product would stay below 29.
  EXPECT_EQ(29, Hits(0.29F));
}

TEST(IsProbabilityHit, OneAndMore_AlwaysHit) {
  EXPECT_EQ(100, Hits(1.0F));
  EXPECT_EQ(100, Hits(2.5F));
  EXPECT_EQ(100, Hits(3e7F));
  EXPECT_EQ(100, Hits(1e30F));
  EXPECT_EQ(100, Hits(std::numeric_limits<float>::infinity()));
}

TEST(IsProbabilityHit, ZeroLessAndNotANumber_NeverHit) {
  EXPECT_EQ(0, Hits(0.0F));
  EXPECT_EQ(0, Hits(-0.5F));
  EXPECT_EQ(0, Hits(-1e30F));
  EXPECT_EQ(0, Hits(-std::numeric_limits<float>::infinity()));
  EXPECT_EQ(0, Hits(std::numeric_limits<float>::quiet_NaN()));
}

std::vector<std::string> Explode(const std::string& text, const char* delimiter) {
  std::vector<std::string> out = {"before"};
  EXPECT_TRUE(StringExplode(out, text, delimiter));
  return out;
}

TEST(StringExplode, EmptyPieces_AreLeftOut) {
  EXPECT_THAT(Explode("a,,b,", ","), ElementsAre("a", "b"));
  EXPECT_THAT(Explode(",,a", ","), ElementsAre("a"));
  EXPECT_THAT(Explode(",,,", ","), IsEmpty());
}

TEST(StringExplode, Delimiter_IsOneSeparatorAsAWhole) {
  EXPECT_THAT(Explode("a, b", ", "), ElementsAre("a", "b"));
  EXPECT_THAT(Explode("a,b", ", "), ElementsAre("a,b"));
  EXPECT_THAT(Explode("a , b,c", ", "), ElementsAre("a ", "b,c"));
}

TEST(StringExplode, NextSearch_StartsAfterTheMatch) {
  EXPECT_THAT(Explode("aaab", "aa"), ElementsAre("ab"));
  EXPECT_THAT(Explode("xaaaay", "aa"), ElementsAre("x", "y"));
}

TEST(StringExplode, EmptyText_IsNoPieceAndSuccess) {
  EXPECT_THAT(Explode("", ","), IsEmpty());
}

TEST(StringExplode, EmptyDelimiter_SeparatesNothing) {
  EXPECT_THAT(Explode("abc", ""), ElementsAre("abc"));
  EXPECT_THAT(Explode("", ""), IsEmpty());
}

TEST(StringExplode, NullDelimiter_FailsAndLeavesOut) {
  std::vector<std::string> out = {"before"};

  EXPECT_FALSE(StringExplode(out, "a,b", nullptr));
  EXPECT_THAT(out, ElementsAre("before"));
}

TEST(StringExplode, TextWithNul_IsSplitWhole) {
  EXPECT_THAT(Explode(std::string("a\0b,c", 5), ","),
              ElementsAre(std::string("a\0b", 3), "c"));
}

TEST(StringExplode, TextIsAnElementOfOut_IsSplit) {
  std::vector<std::string> out = {"a,b"};

  EXPECT_TRUE(StringExplode(out, out[0], ","));
  EXPECT_THAT(out, ElementsAre("a", "b"));
}

TEST(StringExplode, HugeText_IsSplit) {
  std::string text;
  for (int i = 0; i < 200000; ++i) text += "ab,";

  EXPECT_EQ(200000u, Explode(text, ",").size());
}

}  // namespace
}  // namespace VEXO::sharing
