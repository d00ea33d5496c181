#include "web/files/display_name.h"

#include <gtest/gtest.h>

using web::ArchiveName;
using web::DisplayName;
using web::DisplayText;
using web::DownloadName;
using web::JsonText;
using web::ToValidUtf8;

namespace {

const char kOverride[] = "\xE2\x80\xAE";  // U+202E

}  // namespace

TEST(ToValidUtf8, BytesThatAreNotUtf8_AreReplaced) {
  EXPECT_EQ(ToValidUtf8("gr\xC3\xBC\xC3\x9F"), "gr\xC3\xBC\xC3\x9F");
  EXPECT_EQ(ToValidUtf8("a\xFF"
                        "b"),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(ToValidUtf8("a\xC3"), "a\xEF\xBF\xBD");
  EXPECT_EQ(ToValidUtf8("\xC0\xAF"), "\xEF\xBF\xBD\xEF\xBF\xBD");  // overlong slash
  EXPECT_EQ(ToValidUtf8(""), "");
}

TEST(DisplayName, ControlsAndCharactersThatTurnTheDirection_AreShownByCode) {
  EXPECT_EQ(DisplayName(std::string("a") + kOverride + "b"), "a[U+202E]b");
  EXPECT_EQ(DisplayName("a\nb\x01\x7F"), "a[U+000A]b[U+0001][U+007F]");
  EXPECT_EQ(DisplayName("\xC2\x85\xE2\x80\xA8\xEF\xBF\xBF"), "[U+0085][U+2028][U+FFFF]");
  for (const char* const turning :
       {"\xD8\x9C", "\xE2\x80\x8E", "\xE2\x80\x8F", "\xE2\x80\xAA", "\xE2\x80\xAB",
        "\xE2\x80\xAC", "\xE2\x80\xAD", "\xE2\x81\xA6", "\xE2\x81\xA7", "\xE2\x81\xA8",
        "\xE2\x81\xA9"}) {
    EXPECT_EQ(DisplayName(turning).substr(0, 3), "[U+");
  }
}

TEST(DisplayName, OtherCharacters_Stay) {
  EXPECT_EQ(DisplayName("<b>&\"'\xE6\x97\xA5\xF0\x9F\x8E\x89"),
            "<b>&\"'\xE6\x97\xA5\xF0\x9F\x8E\x89");
  EXPECT_EQ(DisplayName("\xFF"), "\xEF\xBF\xBD");
}

TEST(DisplayText, LinesAndTabsStay_OtherControlsAreReplaced) {
  EXPECT_EQ(DisplayText("a\tb\nc\r\nd\re\r\r\n"), "a\tb\nc\nd\ne\n\n");
  EXPECT_EQ(DisplayText(std::string("a\0b", 3)),
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(DisplayText("\x1B[31m\xFF"), "\xEF\xBF\xBD[31m\xEF\xBF\xBD");
  EXPECT_EQ(DisplayText(std::string("a") + kOverride), std::string("a") + kOverride);
}

TEST(JsonText, WhatCannotStandInAString_IsEscaped) {
  EXPECT_EQ(JsonText("a/b 'c' gr\xC3\xBC", 99), "a/b 'c' gr\xC3\xBC");
  EXPECT_EQ(JsonText("\"\\\n\x1B\x7F", 99), R"(\"\\\u000A\u001B\u007F)");
  EXPECT_EQ(JsonText(std::string(1, '\0'), 99), R"(\u0000)");
  EXPECT_EQ(JsonText("\xE2\x80\xA8\xC2\x85", 99), R"(\u2028\u0085)");
  EXPECT_EQ(JsonText(std::string("a") + kOverride, 99), R"(a\u202E)");
  EXPECT_EQ(JsonText("\xFF\xF0\x9F\x8E\x89", 99), "\xEF\xBF\xBD\xF0\x9F\x8E\x89");
}

TEST(JsonText, LongTexts_AreCutAfterACharacter) {
  const std::string ellipsis = "\xE2\x80\xA6";
  EXPECT_EQ(JsonText("abcdefghi", 8), "abcde" + ellipsis);
  EXPECT_EQ(JsonText("ab\xF0\x9F\x8E\x89zzz", 8), "ab" + ellipsis);
  EXPECT_EQ(JsonText("a\n\n\n", 10), "a\\u000A" + ellipsis);
  EXPECT_EQ(JsonText("\xFF\xFF\xFF", 8), "\xEF\xBF\xBD" + ellipsis);
}

TEST(JsonText, TextOfTheWholeLength_IsNotCut) {
  EXPECT_EQ(JsonText("abcdefgh", 8), "abcdefgh");
  EXPECT_EQ(JsonText("abcdef", 8), "abcdef");
}

TEST(ArchiveName, WhatCouldLeadElsewhereOrIsInvalid_IsPercentEncoded) {
  EXPECT_EQ(ArchiveName("a b%.txt"), "a b%.txt");
  EXPECT_EQ(ArchiveName("..\\a/b"), "..%5Ca%2Fb");
  EXPECT_EQ(ArchiveName("a\n\xFF"), "a%0A%FF");
  EXPECT_EQ(ArchiveName(std::string("a") + kOverride), "a%E2%80%AE");
  EXPECT_EQ(ArchiveName("gr\xC3\xBC"), "gr\xC3\xBC");
}

TEST(DownloadName, WhatIsNoPartOfAName_IsReplaced) {
  EXPECT_EQ(DownloadName(std::string("a/b\\c\r\n") + kOverride), "a_b_c___");
  EXPECT_EQ(DownloadName("gr\xC3\xBC\xFF"), "gr\xC3\xBC\xEF\xBF\xBD");
}

TEST(ArchiveName, NamesThatLeadElsewhereAsAWhole_AreReplaced) {
  EXPECT_EQ(ArchiveName(".."), "_");
  EXPECT_EQ(ArchiveName("."), "_");
  EXPECT_EQ(ArchiveName(""), "_");
  EXPECT_EQ(ArchiveName("..."), "...");
}
