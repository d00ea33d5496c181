#include "configuration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>

#include <string>

#include "log_capture.h"
#include "temp_dir.h"

using fakes::LogCapture;
using fakes::TempDir;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using VEXO::platform::Address;
using VEXO::platform::Configuration;

namespace {

Configuration Read(const std::string& text) {
  const TempDir dir;
  FILE* const file = fopen(dir.Write("platform.conf", text).c_str(), "r");
  EXPECT_NE(file, nullptr);
  const Configuration configuration = VEXO::platform::ReadConfiguration(file);
  fclose(file);
  return configuration;
}

}  // namespace

TEST(Configuration, EmptyFile_MeansTheDefaults) {
  const LogCapture log;
  const Configuration configuration = Read("");

  EXPECT_EQ(configuration.block_failures, 10);
  EXPECT_EQ(configuration.block_window_seconds, 300);
  EXPECT_EQ(configuration.block_duration_seconds, 3600);
  EXPECT_THAT(configuration.trusted_proxies, IsEmpty());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Configuration, EveryKey_IsRead) {
  const LogCapture log;
  const Configuration configuration = Read(
      "# limits\n"
      "\n"
      "block_failures=3\r\n"
      "  block_window_seconds  =  60   # a minute\n"
      "block_duration_seconds = 120\n"
      "trusted_proxies = 10.0.0.0/8, 2001:db8::1 192.0.2.1");

  EXPECT_EQ(configuration.block_failures, 3);
  EXPECT_EQ(configuration.block_window_seconds, 60);
  EXPECT_EQ(configuration.block_duration_seconds, 120);
  ASSERT_EQ(configuration.trusted_proxies.size(), 3U);
  EXPECT_TRUE(configuration.trusted_proxies[0].Contains(*Address::Parse("10.9.9.9")));
  EXPECT_TRUE(configuration.trusted_proxies[2].Contains(*Address::Parse("192.0.2.1")));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Configuration, WrongLines_AreLoggedWithTheirNumberAndSkipped) {
  const LogCapture log;
  const Configuration configuration = Read(
      "block_failures = 5\n"
      "block_failures = many\n"
      "block_failures = 0\n"
      "block_failures = -1\n"
      "block_failures =\n"
      "block_failures 7\n"
      "no_such_key = 1\n"
      "= 3\n"
      "block_window_seconds = 99999999999999999999\n"
      "trusted_proxies = 10.0.0.1, garbage\n"
      "\xff\xfe binary\n"
      "block_duration_seconds = 7\n");

  EXPECT_EQ(configuration.block_failures, 5);
  EXPECT_EQ(configuration.block_window_seconds, 300);
  EXPECT_EQ(configuration.block_duration_seconds, 7);
  EXPECT_THAT(configuration.trusted_proxies, IsEmpty());
  EXPECT_THAT(
      log.lines(),
      ElementsAre(HasSubstr("platform.conf:2:"), HasSubstr(":3:"), HasSubstr(":4:"),
                  HasSubstr(":5:"), HasSubstr(":6:"), HasSubstr(":7:"), HasSubstr(":8:"),
                  HasSubstr(":9:"), HasSubstr(":10:"), HasSubstr(":11:")));
}

TEST(Configuration, KeyGivenTwice_TheLastCounts) {
  const Configuration configuration = Read(
      "block_failures = 5\nblock_failures = 6\n"
      "trusted_proxies = 10.0.0.1\ntrusted_proxies =\n");

  EXPECT_EQ(configuration.block_failures, 6);
  EXPECT_THAT(configuration.trusted_proxies, IsEmpty());
}

TEST(Configuration, LineWithNulOrOfAMegabyte_IsOneWrongLine) {
  const LogCapture log;
  const Configuration configuration =
      Read(std::string("block_failures = 5\0 \n", 21) + std::string(1 << 20, 'x') +
           "\nblock_duration_seconds = 7\n");

  EXPECT_EQ(configuration.block_failures, 10);
  EXPECT_EQ(configuration.block_duration_seconds, 7);
  EXPECT_EQ(log.lines().size(), 2U);
}

TEST(Configuration, FileThatCannotBeRead_IsLogged) {
  const LogCapture log;
  const TempDir dir;
  FILE* const folder = fopen(dir.Path("").c_str(), "r");
  ASSERT_NE(folder, nullptr);

  EXPECT_EQ(VEXO::platform::ReadConfiguration(folder).block_failures, 10);
  EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("Is a directory")));
  fclose(folder);
}
