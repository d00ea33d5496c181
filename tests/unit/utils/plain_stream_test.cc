#include "utils/plain_stream.h"

#include <gtest/gtest.h>

#include "digit_grouping.h"

namespace VEXO::sharing {
namespace {

TEST(PlainStream, GroupingLocale_WritesPlainDecimal) {
  const fakes::DigitGrouping grouping;
  std::ostringstream grouped;
  PlainStream plain;

  grouped << 1234567;
  plain << "id=" << 1234567 << ' ' << -1234567890123L << ' ' << 4294967295U;

  ASSERT_EQ("1.234.567", grouped.str());
  EXPECT_EQ("id=1234567 -1234567890123 4294967295", plain.str());
}

}  // namespace
}  // namespace VEXO::sharing
