#include "web/record/address.h"

#include <gtest/gtest.h>

namespace {

using web::NetworkOf;

TEST(NetworkOf, Networks_HaveTheirLength) {
  EXPECT_EQ(NetworkOf("192.0.2.77"), "192.0.2.0/24");
  EXPECT_EQ(NetworkOf("2001:db8:1:2::3"), "2001:db8:1::/48");
  EXPECT_EQ(NetworkOf("::1"), "::/48");
}

TEST(NetworkOf, OtherTexts_AreEmpty) {
  for (const char* const text :
       {"", "localhost", "192.0.2.77/24", "192.0.2", "fe80::1%1"}) {
    EXPECT_EQ(NetworkOf(text), "") << text;
  }
}

}  // namespace
