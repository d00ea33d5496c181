#include "base/wipe.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

using VEXO::base::Wipe;

namespace {

bool IsZero(const char* data, size_t size) {
  return std::all_of(data, data + size, [](char c) { return c == '\0'; });
}

}  // namespace

TEST(Wipe, LongText_IsOverwrittenWhole) {
  std::string text(1000, 'x');
  const char* const data = text.data();
  text.resize(10);  // the rest stays in memory
  Wipe(&text);

  EXPECT_EQ(text, "");
  EXPECT_EQ(text.data(), data);
  EXPECT_TRUE(IsZero(data, 1000));
}

TEST(Wipe, ShortTextThatWasMovedAway_LeavesNothingBehind) {
  std::string text = "secret";
  const std::string moved = std::move(text);
  Wipe(&text);

  EXPECT_EQ(moved, "secret");
  EXPECT_TRUE(IsZero(text.data(), text.capacity()));
}
