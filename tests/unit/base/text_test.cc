#include "base/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using VEXO::base::HexText;
using VEXO::base::Split;
using VEXO::base::ToLowerAscii;
using VEXO::base::Trim;

TEST(Trim, BlanksTabsAndLineEndsAtBothEnds_AreRemoved) {
  EXPECT_EQ(Trim(" \t a b\r\n"), "a b");
  EXPECT_EQ(Trim("a"), "a");
  EXPECT_EQ(Trim(" \t\r\n"), "");
  EXPECT_EQ(Trim(""), "");
}

TEST(ToLowerAscii, LettersOfAsciiOnly_AreChanged) {
  EXPECT_EQ(ToLowerAscii("@AZ[`az{ 09"), "@az[`az{ 09");
  EXPECT_EQ(ToLowerAscii("\xc3\x84"), "\xc3\x84");
  EXPECT_EQ(ToLowerAscii('Q'), 'q');
}

TEST(Split, Parts_AreTrimmedAndEmptyOnesKept) {
  EXPECT_THAT(Split("a , b;;c", ",;"), ElementsAre("a", "b", "", "c"));
  EXPECT_THAT(Split(",", ","), ElementsAre("", ""));
  EXPECT_THAT(Split("", ","), ElementsAre(""));
}

TEST(HexText, EachByte_IsTwoDigits) {
  const unsigned char bytes[] = {0x00, 0x0f, 0xa1, 0xff};
  EXPECT_EQ(HexText(bytes, sizeof(bytes)), "000fa1ff");
  EXPECT_EQ(HexText(bytes, 0), "");
}
