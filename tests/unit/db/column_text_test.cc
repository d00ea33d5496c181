#include "db/column_text.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <string>
#include <vector>

#include "digit_grouping.h"
#include "result.h"

namespace VEXO::sharing::db {
namespace {

/// Checks that a text converts as a Field of it does.
void ExpectSameAsField(const std::string& text) {
  const ColumnText column(text);

  ASSERT_EQ(Field(text).AsInt(-7), column.AsInt(-7)) << testing::PrintToString(text);
  ASSERT_EQ(Field(text).AsUInt(7), column.AsUInt(7)) << testing::PrintToString(text);
  ASSERT_EQ(Field(text).AsTime(-7), column.AsTime(-7)) << testing::PrintToString(text);
  ASSERT_EQ(Field(text).AsBool(true), column.AsBool(true))
      << testing::PrintToString(text);
  ASSERT_EQ(Field(text).AsString("x"), column.AsString("x"));
}

/// Texts that are numbers, nearly numbers, or neither.
class Texts {
 public:
  std::string Next() {
    std::string text;
    switch (Draw(4)) {
      case 0:
        return std::to_string(Number());
      case 1:  // beyond a limit, or just within it
        text = std::to_string(limits_[Draw(limits_.size())]);
        text.back() = static_cast<char>('0' + Draw(10));
        return text;
      case 2:  // a number with something before or after it
        text = std::to_string(Number());
        text.insert(Draw(2) == 0 ? 0 : text.size(), pieces_[Draw(pieces_.size())]);
        return text;
      default:
        for (size_t length = Draw(6); length > 0; --length) {
          text += pieces_[Draw(pieces_.size())];
        }
        return text;
    }
  }

 private:
  size_t Draw(size_t below) { return random_() % below; }
  long Number() { return static_cast<long>(random_()) >> Draw(64); }

  const std::vector<long> limits_ = {INT_MAX,  INT_MIN,  UINT_MAX, -1L - UINT_MAX,
                                     LONG_MAX, LONG_MIN, 0,        1};
  const std::vector<std::string> pieces_ = {"0",
                                            "1",
                                            "9",
                                            "07",
                                            "42",
                                            "-",
                                            "+",
                                            ".",
                                            ",",
                                            " ",
                                            "\t",
                                            "\n",
                                            "\v",
                                            "\r",
                                            "e3",
                                            "x",
                                            "0x1f",
                                            "abc",
                                            "\xc2\xa0",
                                            "\xff",
                                            std::string(1, '\0'),
                                            "'",
                                            "99999999999999999999"};
  std::mt19937_64 random_{1};
};

TEST(ColumnText, GeneratedTexts_ConvertAsFieldDoes) {
  Texts texts;
  for (int i = 0; i < 100000 && !testing::Test::HasFatalFailure(); ++i) {
    ExpectSameAsField(texts.Next());
  }
}

TEST(ColumnText, GroupingLocale_ConvertsAsFieldDoes) {
  const fakes::DigitGrouping grouping;
  Texts texts;
  for (int i = 0; i < 10000 && !testing::Test::HasFatalFailure(); ++i) {
    ExpectSameAsField(texts.Next());
  }
}

TEST(ColumnText, Limits_AreRead) {
  EXPECT_EQ(INT_MIN, ColumnText("-2147483648").AsInt(0));
  EXPECT_EQ(UINT_MAX, ColumnText("4294967295").AsUInt(0));
  EXPECT_EQ(LONG_MAX, ColumnText("9223372036854775807").AsTime(0));
}

TEST(ColumnText, TextAfterTheNumber_IsIgnored) {
  EXPECT_EQ(12, ColumnText("12abc").AsInt(0));
  EXPECT_EQ(7, ColumnText(" 7").AsInt(0));
}

}  // namespace
}  // namespace VEXO::sharing::db
