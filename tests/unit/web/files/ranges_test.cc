#include "web/files/ranges.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using testing::ElementsAre;
using web::ParseRanges;
using web::RangeSelection;

namespace {

/// What the header selects of a file of ten bytes, as in "2-4 9-9", "whole" or "none".
std::string Selected(const std::string& value, std::uint64_t size = 10) {
  const RangeSelection selection = ParseRanges(value, size);
  if (selection.kind == RangeSelection::Kind::kWhole) return "whole";
  if (selection.kind == RangeSelection::Kind::kUnsatisfiable) return "none";
  std::string text;
  for (const web::ByteRange& range : selection.ranges) {
    if (!text.empty()) text += " ";
    text += std::to_string(range.first) + "-" + std::to_string(range.last);
  }
  return text;
}

/// "bytes=" and this many single bytes, every second one of the file.
std::string SingleBytes(int count) {
  std::string value = "bytes=";
  for (int i = 0; i < count; ++i) {
    const std::string position = std::to_string(2 * i);
    value += (i == 0 ? "" : ",") + position + "-" + position;
  }
  return value;
}

}  // namespace

// RFC 9110, sections 14.1.1 and 14.1.2
TEST(ParseRanges, OneRange_IsSelectedInItsThreeForms) {
  EXPECT_EQ(Selected("bytes=2-4"), "2-4");
  EXPECT_EQ(Selected("bytes=0-0"), "0-0");
  EXPECT_EQ(Selected("bytes=7-"), "7-9");
  EXPECT_EQ(Selected("bytes=-3"), "7-9");
  EXPECT_EQ(Selected("bytes=0-9"), "0-9");
}

// 14.1.2: a last position beyond the end, and a suffix longer than the file, are cut
TEST(ParseRanges, MoreThanTheFileHas_IsCut) {
  EXPECT_EQ(Selected("bytes=5-100"), "5-9");
  EXPECT_EQ(Selected("bytes=-100"), "0-9");
  EXPECT_EQ(Selected("bytes=5-99999999999999999999999999"), "5-9");
  EXPECT_EQ(Selected("bytes=-99999999999999999999999999"), "0-9");
}

// 14.1.2 and 15.5.17
TEST(ParseRanges, NothingOfTheFile_IsUnsatisfiable) {
  EXPECT_EQ(Selected("bytes=10-"), "none");
  EXPECT_EQ(Selected("bytes=10-20"), "none");
  EXPECT_EQ(Selected("bytes=-0"), "none");
  EXPECT_EQ(Selected("bytes=99999999999999999999999999-"), "none");
  EXPECT_EQ(Selected("bytes=18446744073709551616-"), "none");  // 2^64
  EXPECT_EQ(Selected("bytes=10-,-0"), "none");
  EXPECT_EQ(Selected("bytes=0-", 0), "none");
}

// 14.1.2: a suffix of an empty file is satisfiable, but has no bytes to name
TEST(ParseRanges, SuffixOfAnEmptyFile_SelectsTheWhole) {
  EXPECT_EQ(Selected("bytes=-5", 0), "whole");
}

// 14.1.2
TEST(ParseRanges, SeveralRanges_KeepTheirOrderWithoutTheUnsatisfiableOnes) {
  EXPECT_EQ(Selected("bytes=0-1,4-5"), "0-1 4-5");
  EXPECT_EQ(Selected("bytes=-1,0-0"), "9-9 0-0");
  EXPECT_EQ(Selected("bytes=0-1,20-30"), "0-1");
  EXPECT_EQ(Selected("bytes=0-1,2-3"), "0-1 2-3");
}

// 5.6.1.2: empty elements and white space of a list
TEST(ParseRanges, WhiteSpaceAndEmptyElements_AreIgnored) {
  EXPECT_EQ(Selected("bytes= 0-1 ,\t4-5 "), "0-1 4-5");
  EXPECT_EQ(Selected("bytes=,0-1,,"), "0-1");
}

// 14.1: names of range units are case-insensitive
TEST(ParseRanges, UnitInUpperCase_IsTheSame) { EXPECT_EQ(Selected("BYTES=0-1"), "0-1"); }

// 14.2: an unknown unit is ignored, and so may be a value that is not well-formed
TEST(ParseRanges, OtherUnitOrMalformed_SelectsTheWhole) {
  for (const char* const value :
       {"",           "bytes",         "bytes=",      "bytes=,",
        "bytes=a-b",  "bytes=1",       "bytes=-",     "bytes=--1",
        "bytes=4-2",  "bytes=0-1;2-3", "bytes=0-1,x", "bytes=0x1-2",
        "bytes=+1-2", "bytes=1 -2",    "bytes 0-1",   "byte=0-1",
        "bytess=0-1", "items=0-1",     "=0-1",        "bytes =0-1",
        "bytes=0-1-2"}) {
    EXPECT_EQ(Selected(value), "whole") << value;
  }
}

// 14.2: a server may ignore ranges that overlap or are too many
TEST(ParseRanges, OverlappingRanges_SelectTheWhole) {
  EXPECT_EQ(Selected("bytes=0-4,4-5"), "whole");
  EXPECT_EQ(Selected("bytes=4-5,0-9"), "whole");
  EXPECT_EQ(Selected("bytes=0-0,-10"), "whole");
  EXPECT_EQ(Selected("bytes=3-3,3-3"), "whole");
}

TEST(ParseRanges, MoreThanSixteenRanges_SelectTheWhole) {
  EXPECT_EQ(ParseRanges(SingleBytes(16), 100).ranges.size(), 16U);
  EXPECT_EQ(Selected(SingleBytes(17), 100), "whole");
  EXPECT_EQ(Selected(SingleBytes(17), 1), "whole");
}

TEST(ParseRanges, FileOfTheLargestSize_KeepsItsLastByte) {
  EXPECT_EQ(Selected("bytes=-1", 0x7FFFFFFFFFFFFFFF),
            "9223372036854775806-9223372036854775806");
}

// 14.4
TEST(ContentRange, RangeAndSize_AreNamed) {
  EXPECT_EQ(web::ContentRange({2, 4}, 10), "bytes 2-4/10");
  EXPECT_EQ(web::UnsatisfiedContentRange(10), "bytes */10");
}
