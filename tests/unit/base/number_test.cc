#include "base/number.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>

using VEXO::base::ParseNumber;

TEST(ParseNumber, WholeText_IsTheNumber) {
  EXPECT_EQ(ParseNumber("0", 0, 9), 0);
  EXPECT_EQ(ParseNumber("007", 0, 9), 7);
  EXPECT_EQ(ParseNumber("2147483647", 0, INT_MAX), INT_MAX);
  EXPECT_EQ(ParseNumber("-9223372036854775808", LONG_MIN, LONG_MAX), LONG_MIN);
  EXPECT_EQ(ParseNumber<std::uint16_t>("65535", 0, 65535), 65535);
}

TEST(ParseNumber, OtherText_IsNothing) {
  for (const char* const text :
       {"", " 1", "1 ", "+1", "1.0", "1e3", "0x1", "a", "-", "--1", "-+1"}) {
    EXPECT_EQ(ParseNumber(text, -100L, 100L), std::nullopt) << text;
  }
}

TEST(ParseNumber, BeyondTheLimits_IsNothing) {
  EXPECT_EQ(ParseNumber("9", 10, 20), std::nullopt);
  EXPECT_EQ(ParseNumber("10", 10, 20), 10);
  EXPECT_EQ(ParseNumber("20", 10, 20), 20);
  EXPECT_EQ(ParseNumber("21", 10, 20), std::nullopt);
  EXPECT_EQ(ParseNumber("99999999999999999999", 0L, LONG_MAX), std::nullopt);
}

TEST(ParseNumber, MinusSign_NeedsANegativeLimit) {
  EXPECT_EQ(ParseNumber("-0", 0, 9), std::nullopt);
  EXPECT_EQ(ParseNumber("-0", -1, 9), 0);
}
