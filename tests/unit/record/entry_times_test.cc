#include <gmock/gmock.h>

#include <ctime>
#include <limits>
#include <string>

#include "entry.h"
#include "entry_test.h"
#include "time_zone.h"

namespace VEXO::sharing::record {
namespace {

const char kTimeFormat[] = "%Y-%m-%d %H:%M:%S";

// Time texts

TEST_F(EntryTest, TimeText_Zero_IsEmpty) {
  EXPECT_EQ("", Entry().get_start_at_str(kTimeFormat));
  EXPECT_EQ("", Entry().get_expire_at_str(kTimeFormat));
}

TEST_F(EntryTest, TimeText_IsInTheLocalTimeZone) {
  const fakes::TimeZone zone("EAST-3");
  Entry entry;
  entry.set_start_at(1700000000);
  entry.set_expire_at(-1);

  EXPECT_EQ("2023-11-15 01:13:20", entry.get_start_at_str(kTimeFormat));
  EXPECT_EQ("1970-01-01 02:59:59", entry.get_expire_at_str(kTimeFormat));
  EXPECT_EQ("15/11", entry.get_start_at_str("%d/%m"));
}

TEST_F(EntryTest, TimeText_LongestThatFits_IsWholeAndLongerIsEmpty) {
  Entry entry;
  entry.set_start_at(1700000000);

  EXPECT_EQ(std::string(127, 'x'), entry.get_start_at_str(std::string(127, 'x').c_str()));
  EXPECT_EQ("", entry.get_start_at_str(std::string(128, 'x').c_str()));
  EXPECT_EQ("", entry.get_start_at_str(std::string(1 << 20, 'x').c_str()));
}

TEST_F(EntryTest, TimeText_EmptyFormat_IsEmpty) {
  Entry entry;
  entry.set_start_at(1700000000);

  EXPECT_EQ("", entry.get_start_at_str(""));
}

TEST_F(EntryTest, TimeText_YearBeyondTheCalendar_IsEmpty) {
  Entry entry;
  entry.set_start_at(std::numeric_limits<long>::max());
  entry.set_expire_at(std::numeric_limits<long>::min());

  EXPECT_EQ("", entry.get_start_at_str(kTimeFormat));
  EXPECT_EQ("", entry.get_expire_at_str(kTimeFormat));
}

TEST_F(EntryTest, SetTimeText_IsReadInTheLocalTimeZone) {
  const fakes::TimeZone zone("EAST-3");
  Entry entry;

  entry.set_start_at_str("2023-11-15 01:13:20", kTimeFormat);
  entry.set_expire_at_str("16/11/2023", "%d/%m/%Y");
  EXPECT_EQ(1700000000, entry.get_start_at());
  EXPECT_EQ(1700082000, entry.get_expire_at());
}

TEST_F(EntryTest, SetTimeText_EmptyOrUnreadable_IsZero) {
  for (const char* const text : {"", "soon", "2023-13-01 00:00:00", "2023-11-15"}) {
    Entry entry;
    entry.set_start_at(5);
    entry.set_expire_at(5);

    entry.set_start_at_str(text, kTimeFormat);
    entry.set_expire_at_str(text, kTimeFormat);
    EXPECT_EQ(0, entry.get_start_at()) << text;
    EXPECT_EQ(0, entry.get_expire_at()) << text;
  }
}

TEST_F(EntryTest, SetTimeText_AllYearSummerTime_IsReadAsSummerTime) {
  const fakes::TimeZone zone("STD0DST,0/0,J365/25");
  Entry entry;

  entry.set_start_at_str("2023-11-14 23:13:20", kTimeFormat);
  EXPECT_EQ(1700000000, entry.get_start_at());
}

TEST_F(EntryTest, SetTimeText_TakesTodaysSummerTimeForAnyDate) {
  const time_t now = time(nullptr);
  struct tm today = {};
  gmtime_r(&now, &today);
  // Summer time from two days ago to two days ahead, one hour before standard time.
  const fakes::TimeZone zone("STD0DST," + std::to_string((today.tm_yday + 363) % 365) +
                             "," + std::to_string((today.tm_yday + 2) % 365));
  const time_t half_a_year_ahead = now + 182L * 86400;
  struct tm then = {};
  gmtime_r(&half_a_year_ahead, &then);
  char text[32];
  strftime(text, sizeof(text), kTimeFormat, &then);
  Entry entry;

  entry.set_start_at_str(text, kTimeFormat);
  EXPECT_EQ(half_a_year_ahead - 3600, entry.get_start_at());
}

}  // namespace
}  // namespace VEXO::sharing::record
