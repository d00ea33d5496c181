#include "web/site.h"

#include <gtest/gtest.h>

namespace {

using link_url::Address;
using web::Site;

Site SiteWithBase() {
  return {Address{true, "share.example.org", 5001, "/nas"}, "/apps/files"};
}

TEST(Site, PathBelowThePrefix_IsThatOfALink) {
  const Site plain(std::nullopt, "");
  EXPECT_EQ(plain.LengthBeforeHash("/sharing/abc"), 9U);
  EXPECT_EQ(plain.LengthBeforeHash("/sharing/"), 9U);
  const Site prefixed(std::nullopt, "/apps/files");
  EXPECT_EQ(prefixed.LengthBeforeHash("/apps/files/sharing/abc"), 20U);
}

TEST(Site, PathOfTheBase_MayBeThereOrRemovedByAProxy) {
  EXPECT_EQ(SiteWithBase().LengthBeforeHash("/apps/files/sharing/abc"), 20U);
  EXPECT_EQ(SiteWithBase().LengthBeforeHash("/nas/apps/files/sharing/abc"), 24U);
}

TEST(Site, AnyOtherPath_IsNotThatOfALink) {
  for (const char* const path :
       {"", "/", "/sharing", "/sharing/abc", "/apps/files", "/apps/files/sharing",
        "/apps/files//sharing/abc", "/x/apps/files/sharing/abc", "apps/files/sharing/abc",
        "/apps/files/Sharing/abc", "/nas/sharing/abc", "/apps/filessharing/abc"}) {
    EXPECT_EQ(SiteWithBase().LengthBeforeHash(path), 0U) << path;
  }
}

TEST(Site, LinkPathForTheHostOfTheBase_IsThatOfTheBase) {
  for (const char* const host : {"share.example.org:5001", "SHARE.example.org:5001"}) {
    EXPECT_EQ(SiteWithBase().LinkPath(host, "/apps/files/sharing/", "abc"),
              "/nas/apps/files/sharing/abc");
  }
}

TEST(Site, LinkPathForAnotherHost_IsThatOfTheRequest) {
  for (const char* const host :
       {"share.example.org", "share.example.org:443", "192.0.2.1:5001", ""}) {
    EXPECT_EQ(SiteWithBase().LinkPath(host, "/apps/files/sharing/", "abc"),
              "/apps/files/sharing/abc");
  }
}

TEST(Site, DefaultPortOfTheBase_MayBeLeftOut) {
  const Site site(Address{true, "a.org", link_url::kDefaultPort, "/x"}, "");
  EXPECT_EQ(site.LinkPath("a.org", "/sharing/", "h"), "/x/sharing/h");
  EXPECT_EQ(site.LinkPath("a.org:443", "/sharing/", "h"), "/x/sharing/h");
  EXPECT_EQ(site.LinkPath("a.org:80", "/sharing/", "h"), "/sharing/h");
}

TEST(Site, LinkUrl_IsThatOfTheBaseOrOfTheRequest) {
  EXPECT_EQ(SiteWithBase().LinkUrl("share.example.org:5001", false, "/nas/sharing/h"),
            "https://share.example.org:5001/nas/sharing/h");
  EXPECT_EQ(SiteWithBase().LinkUrl("192.0.2.1:80", false, "/sharing/h"),
            "http://192.0.2.1:80/sharing/h");
  EXPECT_EQ(Site(std::nullopt, "").LinkUrl("[2001:db8::1]", true, "/sharing/h"),
            "https://[2001:db8::1]/sharing/h");
  for (const char* const host : {"", "a b", "a/b", "a\"><b>", "a?", "a@b"}) {
    EXPECT_EQ(Site(std::nullopt, "").LinkUrl(host, true, "/sharing/h"), "") << host;
  }
}

TEST(Site, BaseUrl_IsThatOfTheConfiguration) {
  EXPECT_EQ(SiteWithBase().BaseUrl(), "https://share.example.org:5001/nas");
  EXPECT_EQ(Site(std::nullopt, "/x").BaseUrl(), "");
}

}  // namespace
