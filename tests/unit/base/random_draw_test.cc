#include "base/random_draw.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "fake_system.h"

using VEXO::base::DrawText;
using VEXO::base::RandomDraw;

namespace {

/// Hands out these numbers, repeated as often as needed.
void Script(FakeSystem& system, const std::vector<std::uint32_t>& numbers) {
  system.random = [numbers](void* buffer, size_t size) {
    const size_t count = size / sizeof(std::uint32_t);
    auto* const out = static_cast<std::uint32_t*>(buffer);
    for (size_t i = 0; i < count; ++i) out[i] = numbers[i % numbers.size()];
    return static_cast<ssize_t>(size);
  };
}

}  // namespace

TEST(RandomDraw, NumberOfTheIncompleteLastTurn_IsDrawnAgain) {
  FakeSystem system;
  // The largest multiple of 10 below 2^32 is 4294967290.
  Script(system, {4, 4294967290U, 4294967295U});
  RandomDraw draw;
  for (int i = 0; i < 20; ++i) {
    std::uint64_t number = 0;
    ASSERT_TRUE(draw.Below(10, &number));
    EXPECT_EQ(number, 4U);
  }
}

TEST(RandomDraw, LargestRange_EveryNumberCounts) {
  FakeSystem system;
  Script(system, {0xffffffffU});
  std::uint64_t number = 0;

  ASSERT_TRUE(RandomDraw().Below(std::uint64_t{1} << 32, &number));
  EXPECT_EQ(number, 0xffffffffU);
}

TEST(RandomDraw, InterruptedCall_IsRepeated) {
  FakeSystem system;
  int calls = 0;
  system.random = [&calls](void* buffer, size_t size) -> ssize_t {
    memset(buffer, 0, size);
    if (++calls > 1) return static_cast<ssize_t>(size);
    errno = EINTR;
    return -1;
  };
  std::uint64_t number = 1;

  EXPECT_TRUE(RandomDraw().Below(10, &number));
  EXPECT_EQ(number, 0U);
}

TEST(RandomDraw, FailingOrShortCall_FailsAndKeepsTheNumber) {
  FakeSystem system;
  for (const ssize_t answer : {ssize_t{-1}, ssize_t{4}}) {
    system.random = [answer](void*, size_t) {
      errno = ENOSYS;
      return answer;
    };
    std::uint64_t number = 7;
    EXPECT_FALSE(RandomDraw().Below(10, &number));
    EXPECT_EQ(number, 7U);
  }
}

TEST(DrawText, Length_IsDrawnFromTheAlphabet) {
  std::string text;

  ASSERT_TRUE(DrawText("abc", 1000, &text));
  EXPECT_EQ(text.size(), 1000U);
  EXPECT_EQ(text.find_first_not_of("abc"), std::string::npos);
  for (const char c : {'a', 'b', 'c'}) EXPECT_NE(text.find(c), std::string::npos);
}

TEST(DrawText, FailureInTheMiddle_EmptiesTheText) {
  FakeSystem system;
  int calls = 0;
  system.random = [&calls](void* buffer, size_t size) -> ssize_t {
    memset(buffer, 0, size);
    if (++calls == 1) return static_cast<ssize_t>(size);
    errno = ENOSYS;
    return -1;
  };
  std::string text = "before";

  EXPECT_FALSE(DrawText("abc", 1000, &text));
  EXPECT_EQ(text, "");
  EXPECT_EQ(calls, 2);
}

TEST(DrawText, EmptyAlphabet_FailsAndEmptiesTheText) {
  std::string text = "before";

  EXPECT_FALSE(DrawText("", 5, &text));
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(text, "");
}
