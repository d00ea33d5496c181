#include "web/link_address.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using web::LinkAddress;
using web::ParseTarget;

const web::Site& PlainSite() {
  static const web::Site site(std::nullopt, "");
  return site;
}

LinkAddress Parse(const std::string& target) {
  std::optional<LinkAddress> address = ParseTarget(target, PlainSite());
  EXPECT_TRUE(address) << target;
  return address ? std::move(*address) : LinkAddress();
}

TEST(ParseTarget, RootOfALink_HasNoNames) {
  const LinkAddress bare = Parse("/sharing/abc");
  EXPECT_EQ(bare.hash, "abc");
  EXPECT_EQ(bare.before, "/sharing/");
  EXPECT_EQ(bare.last, "abc");
  EXPECT_THAT(bare.names, IsEmpty());
  EXPECT_FALSE(bare.slash);

  const LinkAddress root = Parse("/sharing/abc/");
  EXPECT_EQ(root.hash, "abc");
  EXPECT_THAT(root.names, IsEmpty());
  EXPECT_TRUE(root.slash);
  EXPECT_TRUE(root.reachable);
}

TEST(ParseTarget, NamesAfterTheHash_AreDecodedOnce) {
  const LinkAddress address = Parse("/sharing/abc/a%20b/%252e/c%3Ad?x=%41");

  EXPECT_THAT(address.names, ElementsAre("a b", "%2e", "c:d"));
  EXPECT_EQ(address.last, "c%3Ad");
  EXPECT_EQ(address.query, "x=%41");
  EXPECT_EQ(address.parameters.Get("x"), "A");
  EXPECT_FALSE(address.slash);
  EXPECT_TRUE(address.reachable);
}

TEST(ParseTarget, NamesThatNoFileHas_AreNotReachable) {
  for (const char* const rest : {"/..", "/.", "/../x", "/a/..", "/%2e%2e/x", "/%2E", "//",
                                 "//x", "/a//b", "/a%2fb", "/%2f", "/..%2fx"}) {
    const LinkAddress address = Parse(std::string("/sharing/abc") + rest);
    EXPECT_FALSE(address.reachable) << rest;
    EXPECT_EQ(address.hash, "abc");
  }
}

TEST(ParseTarget, Path_HasTheNamesAndTheSlash) {
  EXPECT_EQ(Parse("/sharing/abc").Path(), "");
  EXPECT_EQ(Parse("/sharing/abc/").Path(), "");
  EXPECT_EQ(Parse("/sharing/abc/a%20b/c?d").Path(), "a b/c");
  EXPECT_EQ(Parse("/sharing/abc/a/c/").Path(), "a/c/");
}

TEST(ParseTarget, SixtyFourNames_AreReachableAndMoreAreNot) {
  std::string target = "/sharing/abc";
  for (int i = 0; i < 64; ++i) target += "/d";

  EXPECT_TRUE(Parse(target).reachable);
  EXPECT_TRUE(Parse(target + "/").reachable);
  EXPECT_FALSE(Parse(target + "/d").reachable);
}

TEST(ParseTarget, OtherPaths_HaveNoHash) {
  for (const char* const target : {"", "/", "*", "/sharing", "/sharing/", "/sharing//x",
                                   "http://host/sharing/abc", "/x?/sharing/abc"}) {
    EXPECT_EQ(Parse(target).hash, "") << target;
  }
}

TEST(ParseTarget, BrokenEscapeOrNul_IsNothing) {
  for (const char* const target : {"/sharing/%", "/sharing/a/%zz", "/sharing/a?%",
                                   "/sharing/a?b=%00", "/%00", "/x%2"}) {
    EXPECT_FALSE(ParseTarget(target, PlainSite())) << target;
  }
}

TEST(ParseTarget, SegmentOfTheHash_IsFitForACookie) {
  EXPECT_EQ(Parse("/sharing/a%42c").segment, "a%42c");
  EXPECT_EQ(Parse("/sharing/a;b").segment, "a%3Bb");
  EXPECT_EQ(Parse("/sharing/a;b").hash, "a;b");
}

}  // namespace
