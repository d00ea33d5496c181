#include "web/parameters.h"

#include <gmock/gmock.h>

#include <string>

namespace {

using testing::Eq;
using testing::Optional;
using web::DecodePart;
using web::Parameters;

TEST(DecodePart, Escapes_AreDecodedOnce) {
  EXPECT_THAT(DecodePart("a%20b%2Fc%252e+"), Optional(Eq("a b/c%2e+")));
  EXPECT_THAT(DecodePart(""), Optional(Eq("")));
}

TEST(DecodePart, BrokenEscapeOrNul_IsNothing) {
  for (const char* const text : {"%", "%4", "%zz", "a%0", "%-1", "%00", "a%00b"}) {
    EXPECT_EQ(DecodePart(text), std::nullopt) << text;
  }
  EXPECT_EQ(DecodePart(std::string("a\0b", 3)), std::nullopt);
}

TEST(Parameters, FirstOfSeveral_Counts) {
  const auto parameters = Parameters::Parse("a=1&b=2&a=3");

  ASSERT_TRUE(parameters);
  EXPECT_EQ(parameters->Get("a"), "1");
  EXPECT_EQ(parameters->Get("b"), "2");
  EXPECT_EQ(parameters->Find("c"), nullptr);
  EXPECT_EQ(parameters->Get("c"), "");
}

TEST(Parameters, NamesAndValues_AreDecoded) {
  const auto parameters = Parameters::Parse("a%3D=x+y%2B&&=n&zip&e=");

  ASSERT_TRUE(parameters);
  EXPECT_EQ(parameters->Get("a="), "x y+");
  EXPECT_EQ(parameters->Get(""), "n");
  EXPECT_TRUE(parameters->Has("zip"));
  EXPECT_TRUE(parameters->Has("e"));
  EXPECT_FALSE(parameters->Has("x"));
}

TEST(Parameters, ValueWithEqualsSign_IsKept) {
  EXPECT_EQ(Parameters::Parse("a=b=c")->Get("a"), "b=c");
}

TEST(Parameters, BrokenEscapeAnywhere_IsNothing) {
  for (const char* const text : {"%zz=1", "a=%", "a=1&b=%4", "a=%00"}) {
    EXPECT_FALSE(Parameters::Parse(text)) << text;
  }
}

TEST(Parameters, MoreThanSixtyFour_IsNothing) {
  std::string text = "a=1";
  for (int i = 1; i < 64; ++i) text += "&a=1";

  EXPECT_TRUE(Parameters::Parse(text));
  EXPECT_FALSE(Parameters::Parse(text + "&a=1"));
}

}  // namespace
