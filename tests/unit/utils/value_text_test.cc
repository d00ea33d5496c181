#include "value_text.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "digit_grouping.h"

namespace VEXO::sharing {
namespace {

std::string IntText(int value) { return ToString<const int>(value); }
std::string LongText(long value) { return ToString<const long>(value); }

TEST(ToString, Text_IsCopiedUnchanged) {
  std::string plain = "it's \"quoted\"";
  std::string bytes("a\0\xff", 3);
  std::string empty;

  EXPECT_EQ(plain, ToString<std::string>(plain));
  EXPECT_EQ(bytes, ToString<std::string>(bytes));
  EXPECT_EQ("", ToString<std::string>(empty));
}

TEST(ToString, Bool_Is1Or0) {
  bool yes = true;
  bool no = false;

  EXPECT_EQ("1", ToString<bool>(yes));
  EXPECT_EQ("0", ToString<bool>(no));
  EXPECT_EQ("1", ToString<const bool>(yes));
  EXPECT_EQ("0", ToString<const bool>(no));
}

TEST(ToString, Numbers_ArePlainDecimal) {
  EXPECT_EQ("-1", IntText(-1));
  EXPECT_EQ("0", IntText(0));
  EXPECT_EQ("2147483647", IntText(std::numeric_limits<int>::max()));
  EXPECT_EQ("-2147483648", IntText(std::numeric_limits<int>::min()));
  EXPECT_EQ("1700000000", LongText(1700000000));
  EXPECT_EQ("9223372036854775807", LongText(std::numeric_limits<long>::max()));
  EXPECT_EQ("-9223372036854775808", LongText(std::numeric_limits<long>::min()));
}

TEST(ToString, GroupingLocale_ChangesNothing) {
  const fakes::DigitGrouping grouping;
  bool yes = true;

  EXPECT_EQ("1234567", IntText(1234567));
  EXPECT_EQ("1700000000", LongText(1700000000));
  EXPECT_EQ("1", ToString<bool>(yes));
}

}  // namespace
}  // namespace VEXO::sharing
