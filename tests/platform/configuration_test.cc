#include "configuration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

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
using VEXO::platform::ReadConfiguration;

namespace {

Configuration Read(const std::string& text) {
  const TempDir dir;
  return ReadConfiguration(dir.Write("platform.conf", text));
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

TEST(Configuration, KeyGivenTwice_TheLastApplies) {
  const Configuration configuration = Read(
      "block_failures = 5\nblock_failures = 6\n"
      "trusted_proxies = 10.0.0.1\ntrusted_proxies =\n");

  EXPECT_EQ(configuration.block_failures, 6);
  EXPECT_THAT(configuration.trusted_proxies, IsEmpty());
}

TEST(Configuration, TrustedProxiesThatContainEveryAddress_AreRefused) {
  for (const std::string network : {"0.0.0.0/0", "::/0", "10.1.2.3/0", "2001:db8::/0",
                                    "::ffff:0.0.0.0/96", "::/80"}) {
    const LogCapture log;
    const Configuration configuration =
        Read("trusted_proxies = 10.0.0.1\ntrusted_proxies = 10.0.0.2 " + network);

    ASSERT_EQ(configuration.trusted_proxies.size(), 1U) << network;
    EXPECT_FALSE(configuration.trusted_proxies[0].Contains(*Address::Parse("10.0.0.2")));
    EXPECT_THAT(log.lines(),
                ElementsAre(HasSubstr("platform.conf:2: line skipped: a network that "
                                      "contains every address")));
  }
}

TEST(Configuration, LargeNetworks_AreAccepted) {
  const LogCapture log;

  EXPECT_EQ(Read("trusted_proxies = 10.0.0.0/1 2000::/3").trusted_proxies.size(), 2U);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Configuration, MissingFile_MeansTheDefaults) {
  const LogCapture log;
  const TempDir dir;

  EXPECT_EQ(ReadConfiguration(dir.Path("platform.conf")).block_failures, 10);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Configuration, Fifo_IsLoggedAndDoesNotBlock) {
  const LogCapture log;
  const TempDir dir;
  const std::string path = dir.Path("platform.conf");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);

  EXPECT_EQ(ReadConfiguration(path).block_failures, 10);
  EXPECT_THAT(log.lines(),
              ElementsAre(HasSubstr("not a regular file; the defaults apply")));
}
