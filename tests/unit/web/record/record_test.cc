#include "web/record/record.h"

#include <gtest/gtest.h>

#include "base/access_log.h"

namespace {

using web::FormatRecord;
using web::LoggedVisit;

constexpr time_t kTime = 1800000000;  // 2027-01-15T08:00:00Z

TEST(FormatRecord, AllMembers_AreOneLineOfJson) {
  const LoggedVisit visit = {VEXO::base::kEventLogin, "abc", "a/b", "192.0.2.0/24", -9};

  EXPECT_EQ(FormatRecord(visit, kTime, 401, 12),
            R"({"time":"2027-01-15T08:00:00Z","link":"abc","event":"login","code":-9,)"
            R"("status":401,"path":"a/b","bytes":12,"address":"192.0.2.0/24"})"
            "\n");
}

TEST(FormatRecord, CodeAndAddressThatAreNotSet_AreLeftOut) {
  const LoggedVisit visit = {VEXO::base::kEventList, "abc", "", "", 0};

  EXPECT_EQ(FormatRecord(visit, kTime, 200, 0),
            R"({"time":"2027-01-15T08:00:00Z","link":"abc","event":"list",)"
            R"("status":200,"path":"","bytes":0})"
            "\n");
}

TEST(FormatRecord, LongTexts_AreCut) {
  for (const char* const piece : {"x", "\x01", "\xFF", "\"", "\xE2\x80\xA8"}) {
    std::string text;
    while (text.size() < 10000) text += piece;
    const LoggedVisit visit = {VEXO::base::kEventLoginFailed, text, text, "192.0.2.0/24",
                               -2147483647};
    const std::string line = FormatRecord(visit, kTime, 401, UINT64_MAX);
    EXPECT_LE(line.size(), VEXO::base::kLongestAccessLine);
    EXPECT_GT(line.size(), 3000u);
  }
}

}  // namespace
