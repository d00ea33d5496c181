#include "cli/date.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <limits>
#include <map>
#include <string>

namespace {

constexpr long kNow = 1800000000;

/// In a time zone with summer time that needs no time zone files.
class Date : public testing::Test {
 protected:
  Date() {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
  }

  /// The parsed date, or the reason.
  static std::string Parsed(const std::string& text) {
    long seconds = -1;
    const std::string reason = command::ParseDate(text, kNow, seconds);
    if (reason.empty()) return std::to_string(seconds);
    EXPECT_EQ(seconds, -1) << text;
    return reason;
  }
};

}  // namespace

TEST_F(Date, Spans_CountFromNow) {
  EXPECT_EQ(Parsed("now"), "1800000000");
  EXPECT_EQ(Parsed("0s"), "1800000000");
  EXPECT_EQ(Parsed("90s"), "1800000090");
  EXPECT_EQ(Parsed("15m"), "1800000900");
  EXPECT_EQ(Parsed("12h"), "1800043200");
  EXPECT_EQ(Parsed("7d"), "1800604800");
  EXPECT_EQ(Parsed("4w"), "1802419200");
}

TEST_F(Date, NeverAndNone_AreZero) {
  EXPECT_EQ(Parsed("never"), "0");
  EXPECT_EQ(Parsed("none"), "0");
}

TEST_F(Date, LocalDates_FollowSummerTime) {
  EXPECT_EQ(Parsed("2030-12-31"), "1924902000");
  EXPECT_EQ(Parsed("2030-07-01"), "1909087200");
  EXPECT_EQ(Parsed("2030-07-01 00:00"), "1909087200");
  EXPECT_EQ(Parsed("2030-07-01T00:00:01"), "1909087201");
}

TEST_F(Date, PastSpans_CountBackFromNow) {
  long seconds = -1;
  for (const auto& [text, expected] :
       std::map<std::string, long>{{"now", kNow},
                                   {"90s", kNow - 90},
                                   {"7d", kNow - 604800},
                                   {"2030-12-31", 1924902000},
                                   {"99999999w", 0}}) {
    EXPECT_EQ(command::ParsePastDate(text, kNow, seconds), "") << text;
    EXPECT_EQ(seconds, expected) << text;
  }
  for (const char* const text : {"never", "none", "soon", "-7d"}) {
    EXPECT_EQ(command::ParsePastDate(text, kNow, seconds),
              "expected 2026-12-31, \"2026-12-31 18:00\" or 7d");
  }
}

TEST_F(Date, DatesThatDoNotExist_AreRefused) {
  for (const char* const text : {"2030-02-29", "2030-04-31", "2030-03-31 02:30"}) {
    EXPECT_EQ(Parsed(text), "no such local date or time") << text;
  }
}

TEST_F(Date, SpansBeyondTheLimit_AreRefused) {
  EXPECT_EQ(Parsed("251602343999s"), "253402343999");
  for (const char* const text :
       {"251602344000s", "9223372036854775807w", "99999999999999999999d"}) {
    EXPECT_EQ(Parsed(text), "later than the year 9999") << text;
  }
}

TEST_F(Date, DatesUpTo1970_AreRefused) {
  EXPECT_EQ(Parsed("1970-01-01 01:00:00"), "not later than 1970-01-01");
  EXPECT_EQ(Parsed("1970-01-01 01:00:01"), "1");
  EXPECT_EQ(Parsed("1969-12-31"), "not later than 1970-01-01");
}

TEST_F(Date, OtherTexts_AreRefused) {
  for (const char* const text :
       {"", " ", "7", "d", "7D", "-7d", "+7d", "7 d", "1.5d", "2030-1-1", " 2030-01-01",
        "2030-01-01 ", "2030-01-01  10:00", "2030-01-01 1:00", "+030-01-01", "NOW"}) {
    EXPECT_EQ(Parsed(text), "expected 2026-12-31, \"2026-12-31 18:00\", 7d or never")
        << text;
  }
}

TEST_F(Date, Text_IsLocalTimeOrNever) {
  EXPECT_EQ(command::DateText(0), "never");
  EXPECT_EQ(command::DateText(1909087201), "2030-07-01 00:00:01");
  EXPECT_EQ(command::DateTextToMinute(1909087201), "2030-07-01 00:00");
}

TEST_F(Date, TextOfTimeWithoutCalendarDate_IsItsNumber) {
  EXPECT_EQ(command::DateText(std::numeric_limits<long>::max()), "9223372036854775807");
}
