#include "visit/address_block.h"

#include <gmock/gmock.h>

#include <ctime>

#include "fake_platform.h"

namespace VEXO::sharing {
namespace {

using testing::AllOf;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;

TEST(BlockingKey, IPv4_IsTheAddress) { EXPECT_EQ("192.0.2.7", BlockingKey("192.0.2.7")); }

TEST(BlockingKey, IPv6_IsTheFirstAddressOfItsNetwork) {
  EXPECT_EQ("2001:db8:1:2::", BlockingKey("2001:db8:1:2:3:4:5:6"));
  EXPECT_EQ("2001:db8:1:2::", BlockingKey("2001:db8:1:2::1"));
}

TEST(SecondsBlocked, BlockedAddress_IsTheTimeThatIsLeft) {
  fakes::Platform platform;
  platform.denied_ips = {"192.0.2.7", "2001:db8:1:2::9"};
  platform.blocked_until = {{"192.0.2.6", time(nullptr) + 9000},
                            {"192.0.2.7", time(nullptr) + 1000},
                            {"2001:db8:1:2::", time(nullptr) + 1000}};

  EXPECT_THAT(SecondsBlocked("192.0.2.7"), AllOf(Ge(990), Le(1000)));
  EXPECT_THAT(SecondsBlocked("2001:db8:1:2::9"), AllOf(Ge(990), Le(1000)));
}

TEST(SecondsBlocked, AddressThatIsNotBlocked_Is0AndTheListIsNotRead) {
  fakes::Platform platform;
  platform.blocked_until = {{"192.0.2.7", time(nullptr) + 1000}};

  EXPECT_EQ(0, SecondsBlocked("192.0.2.7"));
  EXPECT_THAT(platform.calls({"VEXOAutoBlockList"}), IsEmpty());
}

TEST(SecondsBlocked, AddressIsRefusedButNotBlocked_Is0) {
  fakes::Platform platform;
  platform.denied_ips = {"192.0.2.7"};
  platform.blocked_until = {{"192.0.2.6", time(nullptr) + 1000}};

  EXPECT_EQ(0, SecondsBlocked("192.0.2.7"));
  platform.Fail("VEXOAutoBlockList");
  EXPECT_EQ(0, SecondsBlocked("192.0.2.7"));
}

}  // namespace
}  // namespace VEXO::sharing
