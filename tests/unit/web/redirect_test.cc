#include "web/redirect.h"

#include <gtest/gtest.h>

namespace {

using web::EscapeLocation;
using web::ParseRedirectUri;
using web::ParseSitePath;

TEST(EscapeLocation, WhatCouldSplitAHeader_IsEscaped) {
  EXPECT_EQ(EscapeLocation("./a b\r\nX: y"), "./a%20b%0D%0AX:%20y");
  EXPECT_EQ(EscapeLocation("\x7f\xc3\xa4"), "%7F%C3%A4");
  EXPECT_EQ(EscapeLocation("/a%20b?c=d&e#f"), "/a%20b?c=d&e#f");
}

TEST(ParseSitePath, PathOfThisSite_IsTaken) {
  for (const char* const path : {"/", "/a", "/a/b?c=//d", "/a//b"}) {
    const auto target = ParseSitePath(path);
    ASSERT_TRUE(target) << path;
    EXPECT_EQ(target->location, path);
    EXPECT_EQ(target->origin, "");
  }
}

TEST(ParseSitePath, AnythingElse_IsNothing) {
  for (const char* const path : {"", "a", "//a", "/\\a", "/a\\b", "/a\nb", "/\ta",
                                 "/a\x7f", "https://a", " /a", "\\/a"}) {
    EXPECT_FALSE(ParseSitePath(path)) << path;
  }
}

TEST(ParseRedirectUri, Url_HasAnOrigin) {
  const auto target = ParseRedirectUri("HTTPS://Example.org:8443/a?b#c");

  ASSERT_TRUE(target);
  EXPECT_EQ(target->location, "HTTPS://Example.org:8443/a?b#c");
  EXPECT_EQ(target->origin, "https://Example.org:8443");
  EXPECT_EQ(ParseRedirectUri("http://[::1]?x")->origin, "http://[::1]");
}

TEST(ParseRedirectUri, WhatABrowserReadsInAnotherWay_IsNothing) {
  for (const char* const uri :
       {"https://", "https:///a", "https://a\\@b/", "https://user@b/", "https://a b/",
        "https://a;script-src/", "https://a,b/", "https:/a", "javascript:alert(1)",
        "ftp://a/", "//a", "a", "https://a/\r\nX: y", "https://a'/"}) {
    EXPECT_FALSE(ParseRedirectUri(uri)) << uri;
  }
}

}  // namespace
