#include "vexo/random.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <string.h>
#include <unistd.h>

#include <array>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support.h"

using VEXO::RANDOM::POOL_ALPHA_NUMERIC;
using VEXO::RANDOM::POOL_URL_FRIENDLY;
using VEXO::RANDOM::VEXORandom;
using VEXO::RANDOM::VEXORandomBase;

namespace {

/// How far the counts are from being equal: for `n` classes about n - 1, give or take
/// sqrt(2n).
template <class Counts>
double ChiSquare(const Counts& counts, double draws) {
  const double expected = draws / counts.size();
  double sum = 0;
  for (const long count : counts)
    sum += (count - expected) * (count - expected) / expected;
  return sum;
}

}  // namespace

TEST(RandomNumber, BothEnds_AreReachedAndNothingBeyond) {
  VEXORandomBase generator;
  std::set<int> seen;
  for (int i = 0; i < 1000; ++i) seen.insert(generator.random(-2, 2));

  EXPECT_THAT(seen, testing::ElementsAre(-2, -1, 0, 1, 2));
}

TEST(RandomNumber, OneNumber_IsThatNumber) {
  EXPECT_EQ(VEXORandomBase().random(7, 7), 7);
  EXPECT_EQ(VEXORandomBase().random(INT_MIN, INT_MIN), INT_MIN);
  EXPECT_EQ(VEXORandomBase().random(INT_MAX, INT_MAX), INT_MAX);
}

TEST(RandomNumber, WholeRangeOfInt_HasBothHalves) {
  VEXORandomBase generator;
  int negative = 0;
  for (int i = 0; i < 1000; ++i) negative += generator.random(INT_MIN, INT_MAX) < 0;

  EXPECT_GT(negative, 350);
  EXPECT_LT(negative, 650);
}

TEST(RandomNumber, LowAboveHigh_IsLow) {
  EXPECT_EQ(VEXORandomBase().random(5, 4), 5);
  EXPECT_EQ(errno, EINVAL);
}

TEST(RandomNumber, AHundredClasses_AreEquallyLikely) {
  constexpr int kDraws = 200000;
  VEXORandomBase generator;
  std::array<long, 100> counts{};
  for (int i = 0; i < kDraws; ++i) ++counts[generator.random(0, 99)];

  EXPECT_LT(ChiSquare(counts, kDraws), 200);  // 7 deviations above the expected 99
}

TEST(RandomNumber, RangeOfTwoThirdsOfAllNumbers_IsNotFoldedOntoItsLowerHalf) {
  // With a remainder in place of a second draw the lower half would come twice as often.
  constexpr int kDraws = 20000;
  constexpr int kLow = INT_MIN;
  constexpr int kHigh = static_cast<int>(INT_MIN + 2863311530LL);
  const long middle = kLow + 1431655765L;
  VEXORandomBase generator;
  std::array<long, 2> counts{};
  for (int i = 0; i < kDraws; ++i) ++counts[generator.random(kLow, kHigh) > middle];

  EXPECT_LT(ChiSquare(counts, kDraws), 40);
}

TEST(RandomString, Pools_AreLettersAndDigitsAndTwoMore) {
  const std::string letters = POOL_ALPHA_NUMERIC;
  const std::string friendly = POOL_URL_FRIENDLY;

  EXPECT_EQ(letters.size(), 62U);
  EXPECT_EQ(std::set<char>(letters.begin(), letters.end()).size(), 62U);
  for (const char c : letters) EXPECT_TRUE(isalnum(c)) << c;
  EXPECT_EQ(friendly, letters + "-_");
}

TEST(RandomString, EveryCharacterOfThePool_IsEquallyLikely) {
  constexpr int kDraws = 200000;
  std::string text;
  ASSERT_TRUE(VEXORandom().getString(POOL_ALPHA_NUMERIC, kDraws, text));
  ASSERT_EQ(text.size(), static_cast<size_t>(kDraws));
  std::array<long, 62> counts{};
  for (const char c : text) {
    const char* const found = strchr(POOL_ALPHA_NUMERIC, c);
    ASSERT_NE(found, nullptr);
    ++counts[found - POOL_ALPHA_NUMERIC];
  }

  EXPECT_LT(ChiSquare(counts, kDraws), 140);  // 7 deviations above the expected 61
}

TEST(RandomString, LengthZero_IsEmptyAndNoFailure) {
  std::string text = "before";

  EXPECT_TRUE(VEXORandom().getString(POOL_ALPHA_NUMERIC, 0, text));
  EXPECT_EQ(text, "");
}

TEST(RandomString, NoPoolOrNoMemory_FailsAndEmptiesTheText) {
  VEXORandom generator;
  for (const char* pool : {static_cast<const char*>(nullptr), ""}) {
    std::string text = "before";
    EXPECT_FALSE(generator.getString(pool, 5, text));
    EXPECT_EQ(text, "");
  }

  std::string text = "before";
  EXPECT_FALSE(generator.getString(POOL_ALPHA_NUMERIC, SIZE_MAX, text));
  EXPECT_EQ(text, "");
}

TEST(RandomString, ParentAndChild_DrawDifferentTexts) {
  VEXORandom generator;
  std::string before;
  ASSERT_TRUE(generator.getString(POOL_URL_FRIENDLY, 32, before));
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  InChild([&] {
    std::string text;
    EXPECT_TRUE(generator.getString(POOL_URL_FRIENDLY, 32, text));
    EXPECT_EQ(write(ends[1], text.data(), text.size()), 32);
  });
  std::string theirs(32, '\0');
  ASSERT_EQ(read(ends[0], theirs.data(), theirs.size()), 32);
  close(ends[0]);
  close(ends[1]);

  std::string mine;
  EXPECT_TRUE(generator.getString(POOL_URL_FRIENDLY, 32, mine));
  EXPECT_NE(mine, theirs);
}

TEST(RandomString, SeveralThreads_ShareOneGenerator) {
  VEXORandom generator;
  std::array<std::vector<std::string>, 4> drawn;
  std::vector<std::thread> threads;
  for (auto& texts : drawn) {
    threads.emplace_back([&generator, &texts] {
      for (int i = 0; i < 500; ++i) {
        texts.emplace_back();
        generator.getString(POOL_URL_FRIENDLY, 32, texts.back());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  std::set<std::string> all;
  for (const auto& texts : drawn) all.insert(texts.begin(), texts.end());
  EXPECT_EQ(all.size(), 2000U);
  EXPECT_EQ(all.count(""), 0U);
}
