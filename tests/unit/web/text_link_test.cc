#include "web/pages/text_link.h"

#include <gtest/gtest.h>

namespace {

using web::ParseTextLink;
using web::TextLink;

std::string Href(const std::string& target, size_t depth = 0) {
  const std::optional<TextLink> link = ParseTextLink(target, depth);
  return link ? link->href : "none";
}

TEST(TextLink, RelativeTarget_StaysBelowTheLink) {
  EXPECT_EQ(Href("a.txt"), "./a.txt");
  EXPECT_EQ(Href("sub/b c.txt?view"), "./sub/b%20c.txt?view");
  EXPECT_EQ(Href("?zip"), "./?zip");
  EXPECT_EQ(Href(""), "./");
  EXPECT_EQ(Href("./a:b"), "././a:b");
  EXPECT_EQ(Href("../x", 1), "./../x");
  EXPECT_EQ(Href("%zz \xC3\xA9|"), "./%25zz%20%C3%A9%7C");
}

TEST(TextLink, TargetThatLeavesTheLink_IsRefused) {
  for (const char* const target :
       {"../x", "..", "a/../../x", "%2e%2e/x", ".%2E/x", "/sharing/x", "//host/x",
        "\\\\host", "a\\..\\..", "/\thost"}) {
    EXPECT_EQ(Href(target), "none") << target;
  }
  EXPECT_EQ(Href("../../x", 1), "none");
}

TEST(TextLink, SchemeThatCouldRunOrIsUnknown_IsRefused) {
  for (const char* const target :
       {"javascript:alert(1)", "JavaScript:alert(1)", "java\nscript:x",
        "\x01javascript:x", "data:text/html,x", "vbscript:x", "file:///etc/passwd",
        "http:x", "http:/x", "http://", "https:", "a:b", "ftp://host/"}) {
    EXPECT_EQ(Href(target), "none") << target;
  }
}

TEST(TextLink, UrlsAndMailAddresses_AreLinks) {
  EXPECT_EQ(ParseTextLink("HTTPS://host/a?b#c", 0)->kind, TextLink::Kind::kExternal);
  EXPECT_EQ(Href("http://host/\"<>"), "http://host/%22%3C%3E");
  EXPECT_EQ(ParseTextLink("mailto:a@b.example", 0)->kind, TextLink::Kind::kMail);
}

}  // namespace
