#include "web/pages/format.h"

#include <gtest/gtest.h>

#include "web/language.h"

namespace {

using web::FormatSize;

TEST(FormatSize, Sizes_HaveAUnit) {
  web::UseLanguage("en");

  EXPECT_EQ(FormatSize(0), "0 B");
  EXPECT_EQ(FormatSize(999), "999 B");
  EXPECT_EQ(FormatSize(1000), "1.0 kB");
  EXPECT_EQ(FormatSize(1499), "1.4 kB");
  EXPECT_EQ(FormatSize(99999), "99.9 kB");
  EXPECT_EQ(FormatSize(100000), "100 kB");
  EXPECT_EQ(FormatSize(999999), "999 kB");
  EXPECT_EQ(FormatSize(1500000), "1.5 MB");
  EXPECT_EQ(FormatSize(18446744073709551615ULL), "18.4 EB");
}

}  // namespace
