#include "address.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "log_capture.h"
#include "support.h"

using fakes::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using VEXO::platform::Address;
using VEXO::platform::ClientAddress;
using VEXO::platform::Network;

namespace {

std::string Canonical(const std::string& text) {
  const auto address = Address::Parse(text);
  return address ? address->Text() : "no address";
}

std::string BlockingKey(const std::string& text) {
  return Address::Parse(text)->BlockingKey().Text();
}

bool Contains(const std::string& network, const std::string& address) {
  return Network::Parse(network)->Contains(*Address::Parse(address));
}

std::string Client(const std::string& remote, const char* forwarded) {
  const std::vector<Network> proxies = {*Network::Parse("10.0.0.0/8"),
                                        *Network::Parse("2001:db8::1")};
  return ClientAddress(*Address::Parse(remote), forwarded, proxies).Text();
}

}  // namespace

TEST(Address, Text_IsCanonical) {
  EXPECT_EQ(Canonical("192.168.1.20"), "192.168.1.20");
  EXPECT_EQ(Canonical("2001:0DB8:0:0:0::0001"), "2001:db8::1");
  EXPECT_EQ(Canonical("::1"), "::1");
  EXPECT_EQ(Canonical("::ffff:192.168.1.20"), "192.168.1.20");
  EXPECT_EQ(Canonical("::FFFF:c0a8:114"), "192.168.1.20");
}

TEST(Address, TextThatIsNotAnAddress_IsRefused) {
  for (const char* text :
       {"", " ", "localhost", "1.2.3", "1.2.3.4.5", "256.1.1.1", "1.2.3.4 ", "1.2.3.4:80",
        "[::1]", ":::", "fe80::1%eth0", "1.2.3.4/8", "01.2.3.4x"}) {
    EXPECT_EQ(Canonical(text), "no address") << text;
  }
  EXPECT_EQ(Canonical(std::string("1.2.3.4\0x", 9)), "no address");
}

TEST(Address, BlockingKey_IsTheSlash64OfIPv6) {
  EXPECT_EQ(BlockingKey("2001:db8:1:2:3:4:5:6"), "2001:db8:1:2::");
  EXPECT_EQ(BlockingKey("192.168.1.20"), "192.168.1.20");
  EXPECT_EQ(BlockingKey("::ffff:192.168.1.20"), "192.168.1.20");
}

TEST(Network, Contains_ComparesThePrefixOnly) {
  EXPECT_TRUE(Contains("10.0.0.0/8", "10.255.0.1"));
  EXPECT_FALSE(Contains("10.0.0.0/8", "11.0.0.1"));
  EXPECT_TRUE(Contains("192.168.1.128/25", "192.168.1.200"));
  EXPECT_FALSE(Contains("192.168.1.128/25", "192.168.1.127"));
  EXPECT_TRUE(Contains("0.0.0.0/0", "8.8.8.8"));
  EXPECT_FALSE(Contains("0.0.0.0/0", "2001:db8::1"));
  EXPECT_TRUE(Contains("2001:db8::/33", "2001:db8:7fff::1"));
  EXPECT_FALSE(Contains("2001:db8::/33", "2001:db8:8000::1"));
  EXPECT_TRUE(Contains("::/0", "2001:db8::1"));
  EXPECT_TRUE(Contains("1.2.3.4", "::ffff:1.2.3.4"));
  EXPECT_FALSE(Contains("1.2.3.4", "1.2.3.5"));
}

TEST(Network, TextThatIsNotANetwork_IsRefused) {
  for (const char* text :
       {"", "x", "/8", "10.0.0.0/", "10.0.0.0/33", "10.0.0.0/-1", "10.0.0.0/8x",
        "10.0.0.0/ 8", "::/129", "10.0.0/8", "10.0.0.0/99999999999999999999"}) {
    EXPECT_FALSE(Network::Parse(text).has_value()) << text;
  }
}

TEST(ClientAddress, RemoteThatIsNotATrustedProxy_IsTheClientWhateverItClaims) {
  EXPECT_EQ(Client("203.0.113.5", "1.1.1.1"), "203.0.113.5");
}

TEST(ClientAddress, TrustedProxy_NamesTheClientOnTheRight) {
  EXPECT_EQ(Client("10.0.0.1", "1.1.1.1"), "1.1.1.1");
  EXPECT_EQ(Client("10.0.0.1", "6.6.6.6, 1.1.1.1"), "1.1.1.1");
  EXPECT_EQ(Client("10.0.0.1", "6.6.6.6, 1.1.1.1,10.0.0.2 , 2001:db8::1"), "1.1.1.1");
  EXPECT_EQ(Client("2001:db8::1", "::ffff:1.1.1.1"), "1.1.1.1");
}

TEST(ClientAddress, OnlyTrustedProxies_IsTheFarthest) {
  EXPECT_EQ(Client("10.0.0.1", "10.0.0.3, 10.0.0.2"), "10.0.0.3");
}

// Before any other test logs such a list in this process.
TEST(ClientAddress, UnusableListOfATrustedProxy_IsLoggedOnce) {
  InChild([] {
    const LogCapture log;
    Client("203.0.113.5", "unknown");
    EXPECT_THAT(log.lines(), IsEmpty());
    Client("10.0.0.1", "unknown");
    Client("10.0.0.1", "unknown");
    EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("trusted proxy 10.0.0.1")));
  });
}

TEST(ClientAddress, ListOfATrustedProxyWithEmptyItemsOnly_IsLogged) {
  for (const char* list : {"", ",", " , ,"}) {
    InChild([list] {
      const LogCapture log;
      Client("203.0.113.5", list);
      Client("10.0.0.1", nullptr);
      EXPECT_THAT(log.lines(), IsEmpty());
      EXPECT_EQ(Client("10.0.0.1", list), "10.0.0.1");
      EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("trusted proxy 10.0.0.1")));
    });
  }
}

TEST(ClientAddress, NothingOrGarbageReported_IsTheProxyThatReportedIt) {
  EXPECT_EQ(Client("10.0.0.1", nullptr), "10.0.0.1");
  EXPECT_EQ(Client("10.0.0.1", ""), "10.0.0.1");
  EXPECT_EQ(Client("10.0.0.1", "1.1.1.1, unknown"), "10.0.0.1");
}

TEST(ClientAddress, EmptyItems_DoNotCount) {
  EXPECT_EQ(Client("10.0.0.1", "1.1.1.1, ,10.0.0.2"), "1.1.1.1");
  EXPECT_EQ(Client("10.0.0.1", "1.1.1.1,"), "1.1.1.1");
  EXPECT_EQ(Client("10.0.0.1", " ,\t1.1.1.1 , "), "1.1.1.1");
  EXPECT_EQ(Client("10.0.0.1", ",,"), "10.0.0.1");
  EXPECT_EQ(Client("203.0.113.5", ","), "203.0.113.5");
}

TEST(ClientAddress, ItemsWithPorts_AreTheirAddresses) {
  EXPECT_EQ(Client("10.0.0.1", "192.0.2.1:1234"), "192.0.2.1");
  EXPECT_EQ(Client("10.0.0.1", "[2001:db9::1]:99"), "2001:db9::1");
  EXPECT_EQ(Client("10.0.0.1", "[2001:db9::1]"), "2001:db9::1");
  EXPECT_EQ(Client("10.0.0.1", "2001:db9::1"), "2001:db9::1");
  EXPECT_EQ(Client("10.0.0.1", "192.0.2.1:65535, 10.0.0.2:0"), "192.0.2.1");
}

TEST(ClientAddress, ItemsThatAreAlmostAddresses_AreNotAddresses) {
  for (const char* item :
       {"192.0.2.1:", "192.0.2.1:65536", "192.0.2.1:x", "192.0.2.1:1:2", ":80", "[", "]",
        "[]", "[]:80", "[2001:db9::1", "[2001:db9::1]x",
        "[2001:db9::1]:", "[192.0.2.1]:80", "192.0.2.1 :80", "unknown", "_hidden"}) {
    EXPECT_EQ(Client("10.0.0.1", item), "10.0.0.1") << item;
  }
}
