#include "web/cookies.h"

#include <gtest/gtest.h>

namespace {

using web::FindCookie;

TEST(FindCookie, NamedCookie_IsFoundWhereverItIs) {
  EXPECT_EQ(FindCookie("sharing=abc", "sharing"), "abc");
  EXPECT_EQ(FindCookie("x=1; sharing=abc; y=2", "sharing"), "abc");
  EXPECT_EQ(FindCookie("x=1;sharing=a=b;", "sharing"), "a=b");
}

TEST(FindCookie, FirstOfSeveral_Counts) {
  EXPECT_EQ(FindCookie("sharing=1; sharing=2", "sharing"), "1");
}

TEST(FindCookie, OtherNames_AreNotTheCookie) {
  for (const char* const header : {"", "sharing", "xsharing=1", "sharing2=1", "Sharing=1",
                                   "x=sharing=1", "=sharing"}) {
    EXPECT_EQ(FindCookie(header, "sharing"), "") << header;
  }
}

}  // namespace
