#include "utils/plain_text.h"

#include <gtest/gtest.h>

#include <climits>
#include <locale>
#include <random>
#include <sstream>
#include <string>

#include "digit_grouping.h"

namespace VEXO::sharing {
namespace {

TEST(PlainText, GroupingLocale_WritesPlainDecimal) {
  const fakes::DigitGrouping grouping;
  std::ostringstream grouped;
  PlainText plain;

  grouped << 1234567;
  plain << "id=" << 1234567 << " " << -1234567890123L << " " << 4294967295U;

  ASSERT_EQ("1.234.567", grouped.str());
  EXPECT_EQ("id=1234567 -1234567890123 4294967295", plain.str());
}

/// The text that a stream writes.
template <class T>
std::string Streamed(const T& value) {
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream << value;
  return stream.str();
}

template <class T>
std::string Written(const T& value) {
  return (PlainText() << value).str();
}

TEST(PlainText, GeneratedNumbers_AreWrittenAsAStreamDoes) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 100000; ++i) {
    const long number = static_cast<long>(random()) >> (random() % 64);

    ASSERT_EQ(Streamed(number), Written(number));
    ASSERT_EQ(Streamed(static_cast<int>(number)), Written(static_cast<int>(number)));
    ASSERT_EQ(Streamed(static_cast<unsigned int>(number)),
              Written(static_cast<unsigned int>(number)));
  }
}

TEST(PlainText, ExtremeValues_AreWrittenAsAStreamDoes) {
  for (const long number : {LONG_MIN, LONG_MAX, 0L, -1L}) {
    EXPECT_EQ(Streamed(number), Written(number));
  }
  for (const int number : {INT_MIN, INT_MAX, 0, -1}) {
    EXPECT_EQ(Streamed(number), Written(number));
  }
  EXPECT_EQ(Streamed(UINT_MAX), Written(UINT_MAX));
  EXPECT_EQ(Streamed(true), Written(true));
  EXPECT_EQ(Streamed(false), Written(false));
}

TEST(PlainText, Texts_AreWrittenByteForByte) {
  const std::string bytes("a\0\xff", 3);

  EXPECT_EQ("x" + bytes + "y", (PlainText() << "x" << bytes << "y").str());
}

}  // namespace
}  // namespace VEXO::sharing
