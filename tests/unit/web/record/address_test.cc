#include "web/record/address.h"

#include <gtest/gtest.h>

namespace {

using web::CutAddress;

TEST(CutAddress, Networks_HaveTheirLength) {
  EXPECT_EQ(CutAddress("192.0.2.77"), "192.0.2.0/24");
  EXPECT_EQ(CutAddress("2001:db8:1:2::3"), "2001:db8:1::/48");
  EXPECT_EQ(CutAddress("::1"), "::/48");
}

TEST(CutAddress, OtherTexts_AreEmpty) {
  for (const char* const text :
       {"", "localhost", "192.0.2.77/24", "192.0.2", "fe80::1%1"}) {
    EXPECT_EQ(CutAddress(text), "") << text;
  }
}

}  // namespace
