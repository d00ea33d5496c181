#include "web/files/http_date.h"

#include <gtest/gtest.h>

using web::FormatHttpDate;
using web::ParseHttpDate;

namespace {

constexpr time_t kExample = 784111777;  // the date in RFC 9110, section 5.6.7
constexpr time_t kNow = 1'800'000'000;  // January 2027

}  // namespace

TEST(FormatHttpDate, Times_HaveThePreferredForm) {
  EXPECT_EQ(FormatHttpDate(kExample), "Sun, 06 Nov 1994 08:49:37 GMT");
  EXPECT_EQ(FormatHttpDate(0), "Thu, 01 Jan 1970 00:00:00 GMT");
}

TEST(ParseHttpDate, ThreeForms_AreRead) {
  EXPECT_EQ(ParseHttpDate("Sun, 06 Nov 1994 08:49:37 GMT", kNow), kExample);
  EXPECT_EQ(ParseHttpDate("Sunday, 06-Nov-94 08:49:37 GMT", kNow), kExample);
  EXPECT_EQ(ParseHttpDate("Sun Nov  6 08:49:37 1994", kNow), kExample);
}

TEST(ParseHttpDate, YearOfTwoDigits_IsAtMostFiftyYearsAhead) {
  EXPECT_EQ(ParseHttpDate("Friday, 15-Jan-27 08:00:00 GMT", kNow), kNow);
  EXPECT_EQ(FormatHttpDate(*ParseHttpDate("Friday, 01-Jan-76 00:00:00 GMT", kNow)),
            "Wed, 01 Jan 2076 00:00:00 GMT");
  EXPECT_EQ(FormatHttpDate(*ParseHttpDate("Friday, 01-Jan-78 00:00:00 GMT", kNow)),
            "Sun, 01 Jan 1978 00:00:00 GMT");
}

TEST(ParseHttpDate, OtherTexts_AreNoDates) {
  for (const char* const text :
       {"", "0", "784111777", "Sun, 06 Nov 1994 08:49:37",
        "Sun, 06 Nov 1994 08:49:37 CET", "Sun, 06 Nov 1994 08:49:37 GMT+1",
        "1994-11-06T08:49:37Z", "yesterday", "Sun, 99 Nov 1994 08:49:37 GMT"}) {
    EXPECT_EQ(ParseHttpDate(text, kNow), std::nullopt) << text;
  }
}
