#include "web/drop/sent_name.h"

#include <gtest/gtest.h>

namespace {

using web::CleanFileName;
using web::NumberedName;

TEST(CleanFileName, OnlyTheLastComponent_IsKept) {
  EXPECT_EQ(CleanFileName("/etc/passwd"), "passwd");
  EXPECT_EQ(CleanFileName("..\\..\\a.txt"), "a.txt");
  EXPECT_EQ(CleanFileName("a/..\\b"), "b");
  EXPECT_EQ(CleanFileName("a/"), "file");
}

TEST(CleanFileName, DotsAndBlanksAtTheEnds_AreRemoved) {
  EXPECT_EQ(CleanFileName(".htaccess"), "htaccess");
  EXPECT_EQ(CleanFileName(" . .a.txt. ."), "a.txt");
  for (const char* const nothing : {"", ".", "..", "...", " ", ". ."}) {
    EXPECT_EQ(CleanFileName(nothing), "file");
  }
}

TEST(CleanFileName, UnsafeCharacters_AreReplaced) {
  EXPECT_EQ(CleanFileName("a\nb\x7F.txt"), "a_b_.txt");
  EXPECT_EQ(CleanFileName("a\u202Egpj.exe"), "a_gpj.exe");
  EXPECT_EQ(CleanFileName(std::string_view("a\0b", 3)), "a_b");
  EXPECT_EQ(CleanFileName("\xFF\xC0\xAF.txt"), "\uFFFD\uFFFD\uFFFD.txt");
}

TEST(CleanFileName, LongName_KeepsItsExtension) {
  EXPECT_EQ(CleanFileName(std::string(300, 'a') + ".jpeg"),
            std::string(250, 'a') + ".jpeg");
  EXPECT_EQ(CleanFileName(std::string(300, 'a')), std::string(255, 'a'));
  EXPECT_EQ(CleanFileName("a." + std::string(300, 'b')), "a." + std::string(253, 'b'));
}

TEST(CleanFileName, LongName_IsCutBetweenCharacters) {
  const std::string euro = "\u20AC";
  std::string name;
  for (int i = 0; i < 100; ++i) name += euro;
  EXPECT_EQ(CleanFileName(name).size(), 255U);
  EXPECT_EQ(CleanFileName("a" + name).size(), 253U);
}

TEST(NumberedName, Number_IsBeforeTheExtension) {
  EXPECT_EQ(NumberedName("a.txt", 1), "a.txt");
  EXPECT_EQ(NumberedName("a.txt", 2), "a (2).txt");
  EXPECT_EQ(NumberedName("a", 10), "a (10)");
  EXPECT_EQ(NumberedName("a.tar.gz", 2), "a.tar (2).gz");
  EXPECT_EQ(NumberedName("v1. A longer sentence", 2), "v1. A longer sentence (2)");
}

TEST(NumberedName, LongName_IsShortenedForTheNumber) {
  EXPECT_EQ(NumberedName(std::string(251, 'a') + ".txt", 12),
            std::string(246, 'a') + " (12).txt");
}

}  // namespace
