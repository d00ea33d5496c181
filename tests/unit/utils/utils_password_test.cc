#include <gtest/gtest.h>

#include <string>

#include "digit_grouping.h"
#include "utils.h"

namespace VEXO::sharing {
namespace {

TEST(Sha1WithSalt, EmptySalt_IsTheHashOfThePassword) {
  std::string out;

  EXPECT_TRUE(Sha1WithSaltHashPassword("abc", "", out));
  EXPECT_EQ("a9993e364706816aba3e25717850c26c9cd0d89d", out);
}

TEST(Sha1WithSalt, Salt_FollowsThePassword) {
  std::string out = "before";

  EXPECT_TRUE(Sha1WithSaltHashPassword("abc", "xy", out));
  EXPECT_EQ("e9de4ff23942188a51f3b21c25ddb2f25f10d362", out);
}

TEST(Sha1WithSalt, EmptyPassword_IsHashedLikeAnyOther) {
  std::string out;

  EXPECT_TRUE(Sha1WithSaltHashPassword("", "", out));
  EXPECT_EQ("da39a3ee5e6b4b0d3255bfef95601890afd80709", out);
}

TEST(Sha1WithSalt, BytesAndLength_AllCount) {
  std::string bytes;
  std::string huge;

  EXPECT_TRUE(Sha1WithSaltHashPassword(std::string("a\0b\xff", 4), "", bytes));
  EXPECT_EQ("63fcb4a9187af3e3e3319584f43e809426e0b000", bytes);
  EXPECT_TRUE(Sha1WithSaltHashPassword(std::string(1 << 20, 'x'), "salt", huge));
  EXPECT_EQ("9d0bd5b2460c24711273346f22faa8346f1e79ce", huge);
}

TEST(Sha1WithSalt, OutIsTheInput_IsHashed) {
  std::string text = "abc";

  EXPECT_TRUE(Sha1WithSaltHashPassword(text, "xy", text));
  EXPECT_EQ("e9de4ff23942188a51f3b21c25ddb2f25f10d362", text);
}

TEST(Md5, Password_IsHashedAlone) {
  std::string out = "before";

  EXPECT_TRUE(MD5HashPassword("abc", out));
  EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72", out);
}

TEST(Md5, EmptyPassword_FailsAndLeavesOut) {
  std::string out = "before";

  EXPECT_FALSE(MD5HashPassword("", out));
  EXPECT_EQ("before", out);
}

TEST(Md5, BytesAndLength_AllCount) {
  std::string bytes;
  std::string huge;

  EXPECT_TRUE(MD5HashPassword(std::string("a\0b\xff", 4), bytes));
  EXPECT_EQ("0dd4df5b5be53b9566c53387ec9a7bac", bytes);
  EXPECT_TRUE(MD5HashPassword(std::string(1 << 20, 'x'), huge));
  EXPECT_EQ("b561f87202d04959e37588ee05cf5b10", huge);
}

TEST(Hashes, GroupingLocale_ChangesNothing) {
  const fakes::DigitGrouping grouping;
  std::string sha1;
  std::string md5;

  EXPECT_TRUE(Sha1WithSaltHashPassword("abc", "", sha1));
  EXPECT_TRUE(MD5HashPassword("abc", md5));
  EXPECT_EQ("a9993e364706816aba3e25717850c26c9cd0d89d", sha1);
  EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72", md5);
}

}  // namespace
}  // namespace VEXO::sharing
