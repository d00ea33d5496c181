#include "vexo/random.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
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

/// Whether the kernel's generator fails.
bool generator_fails = false;

/// How far the counts are from being equal: for `n` classes about n - 1, give or take
/// sqrt(2n).
template <class Counts>
double ChiSquare(const Counts& counts, double draws) {
  const double expected = draws / counts.size();
  double sum = 0;
  for (const long count : counts) {
    const double distance = static_cast<double>(count) - expected;
    sum += distance * distance / expected;
  }
  return sum;
}

constexpr int kSerialDraws = 100000;
constexpr int kSerialClasses = 8;
constexpr int kLargestLag = 64;  // four times what is fetched from the kernel at once

/// For draws below kSerialClasses: the largest of the distances between the pairs that
/// are `lag` draws apart and pairs that are equally likely, over all lags.  A good
/// generator stays below kLargestDistance, whatever the lag.
double SerialDistance(const std::vector<int>& draws) {
  double largest = 0;
  for (int lag = 1; lag <= kLargestLag; ++lag) {
    std::array<long, size_t{kSerialClasses} * kSerialClasses> pairs{};
    for (size_t i = lag; i < draws.size(); ++i) {
      ++pairs[draws[i - lag] * kSerialClasses + draws[i]];
    }
    largest =
        std::max(largest, ChiSquare(pairs, static_cast<double>(draws.size() - lag)));
  }
  return largest;
}
constexpr double kLargestDistance = 63 + 9 * 11.2;  // 9 deviations above the expected 63

std::vector<int> Draw(int count) {
  VEXORandomBase generator;
  std::vector<int> draws;
  draws.reserve(count);
  for (int i = 0; i < count; ++i)
    draws.push_back(generator.random(0, kSerialClasses - 1));
  return draws;
}

/// The same draws, each `times` times; `block` draws are repeated together.
std::vector<int> Repeated(const std::vector<int>& draws, int times, size_t block) {
  std::vector<int> repeated;
  for (size_t begin = 0; begin + block <= draws.size(); begin += block) {
    for (int i = 0; i < times; ++i) {
      repeated.insert(repeated.end(), draws.begin() + static_cast<long>(begin),
                      draws.begin() + static_cast<long>(begin + block));
    }
  }
  return repeated;
}

}  // namespace

/// The kernel's generator, until a test lets it fail.
extern "C" ssize_t getrandom(void* buffer, size_t size, unsigned int flags) {
  if (!generator_fails) return syscall(SYS_getrandom, buffer, size, flags);
  errno = ENOSYS;
  return -1;
}

TEST(SerialTest, GeneratorThatRepeatsItsNumbers_IsFound) {
  const std::vector<int> draws = Draw(kSerialDraws / 2);

  EXPECT_GT(SerialDistance(Repeated(draws, 2, 1)), kLargestDistance);
  EXPECT_GT(SerialDistance(Repeated(draws, 2, 16)), kLargestDistance);
  EXPECT_GT(SerialDistance(Repeated(draws, 2, 64)), kLargestDistance);
}

TEST(SerialTest, GeneratorWhoseEveryTenthNumberIsTheLastOne_IsFound) {
  std::vector<int> draws = Draw(kSerialDraws);
  for (size_t i = 10; i < draws.size(); i += 10) draws[i] = draws[i - 1];

  EXPECT_GT(SerialDistance(draws), kLargestDistance);
}

TEST(RandomNumber, Pairs_AreEquallyLikelyAtEveryDistance) {
  EXPECT_LT(SerialDistance(Draw(kSerialDraws)), kLargestDistance);
}

TEST(RandomString, Pairs_AreEquallyLikelyAtEveryDistance) {
  std::string text;
  ASSERT_TRUE(VEXORandom().getString("01234567", kSerialDraws, text));
  std::vector<int> draws;
  draws.reserve(text.size());
  for (const char c : text) draws.push_back(c - '0');

  EXPECT_LT(SerialDistance(draws), kLargestDistance);
}

TEST(RandomString, ManyTexts_AreAllDifferent) {
  VEXORandom generator;
  std::set<std::string> texts;
  for (int i = 0; i < 20000; ++i) {
    std::string text;
    ASSERT_TRUE(generator.getString(POOL_URL_FRIENDLY, 9, text));
    texts.insert(text);
  }

  EXPECT_EQ(texts.size(), 20000U);
}

TEST(RandomString, FailingGenerator_FailsAndEmptiesTheText) {
  VEXORandom generator;
  std::string text = "before";
  generator_fails = true;
  const bool drawn = generator.getString(POOL_URL_FRIENDLY, 32, text);
  const int reason = errno;
  generator_fails = false;

  EXPECT_FALSE(drawn);
  EXPECT_EQ(reason, ENOSYS);
  EXPECT_EQ(text, "");
}

TEST(RandomNumber, FailingGenerator_IsLowWithTheReason) {
  generator_fails = true;
  const int number = VEXORandomBase().random(5, 4000000);
  const int reason = errno;
  generator_fails = false;

  EXPECT_EQ(number, 5);
  EXPECT_EQ(reason, ENOSYS);
}

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
  threads.reserve(drawn.size());
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
