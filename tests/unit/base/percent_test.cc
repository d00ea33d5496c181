#include "base/percent.h"

#include <gtest/gtest.h>

using VEXO::base::PercentDecodeAt;
using VEXO::base::PercentEncode;

TEST(PercentEncode, EverythingButUnreservedCharacters_IsEscaped) {
  EXPECT_EQ(PercentEncode("Az09-._~"), "Az09-._~");
  EXPECT_EQ(PercentEncode("a b/%\xc3\xa9"), "a%20b%2F%25%C3%A9");
  EXPECT_EQ(PercentEncode(std::string("\0\xff", 2)), "%00%FF");
}

TEST(PercentEncode, CharactersNamedPlain_StayAsTheyAre) {
  EXPECT_EQ(PercentEncode("/a?b#c", "/"), "/a%3Fb%23c");
}

TEST(PercentDecodeAt, Escape_IsItsByte) {
  EXPECT_EQ(PercentDecodeAt("a%2Fb", 1), '/');
  EXPECT_EQ(PercentDecodeAt("%2f", 0), '/');
  EXPECT_EQ(PercentDecodeAt("%00", 0), '\0');
  EXPECT_EQ(PercentDecodeAt("%fF", 0), '\xff');
}

TEST(PercentDecodeAt, NoEscape_IsNothing) {
  for (const char* const text : {"", "a2f", "%", "%2", "%2g", "%g2", "%-1", "% 1"}) {
    EXPECT_EQ(PercentDecodeAt(text, 0), std::nullopt) << text;
  }
}

TEST(PercentDecodeAt, EveryByte_ComesBackEncodedAndDecoded) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const std::string encoded = PercentEncode(std::string(1, c));
    if (encoded.size() == 1) continue;
    EXPECT_EQ(PercentDecodeAt(encoded, 0), c) << byte;
  }
}
