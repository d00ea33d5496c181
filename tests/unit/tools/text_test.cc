#include "terminal/text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>

namespace {

class Text : public testing::Test {
 protected:
  Text() { std::setlocale(LC_CTYPE, "C.UTF-8"); }
};

}  // namespace

TEST_F(Text, ControlAndDirectionCharacters_AreEscaped) {
  EXPECT_EQ(command::Printable("a\n\r\t\x1b\x7f"), "a\\n\\r\\t\\x1b\\x7f");
  EXPECT_EQ(command::Printable("\u202e\u2066\u061c"), "\\u202e\\u2066\\u061c");
  EXPECT_EQ(command::Printable("\u0085"), "\\u0085");
  EXPECT_EQ(command::Printable("ü 日本"), "ü 日本");
}

TEST_F(Text, InvalidUtf8_IsEscapedByteByByte) {
  EXPECT_EQ(command::Printable("a\xff\xc3z\xe3\x81"), "a\\xff\\xc3z\\xe3\\x81");
}

TEST_F(Text, Width_CountsWideAndCombiningCharacters) {
  EXPECT_EQ(command::DisplayWidth("aü日"), 4U);
  EXPECT_EQ(command::DisplayWidth("e\u0301"), 1U);
}

TEST_F(Text, FittingLength_EndsBetweenCharacters) {
  EXPECT_EQ(command::FittingLength("日本", 3), 3U);
  EXPECT_EQ(command::FittingLength("日本", 4), 6U);
  EXPECT_EQ(command::FittingLength("abc", 0), 0U);
}

TEST_F(Text, TextThatIsTooWide_EndsWithAnEllipsis) {
  EXPECT_EQ(command::Fit("abcdef", 6), "abcdef");
  EXPECT_EQ(command::Fit("abcdef", 5), "abcd…");
  EXPECT_EQ(command::Fit("日本語", 4), "日…");
}
