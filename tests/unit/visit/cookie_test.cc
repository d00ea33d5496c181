#include "visit/cookie.h"

#include <gtest/gtest.h>

#include "sharing_visit.h"

namespace VEXO::sharing {
namespace {

VisitRequest Request() {
  VisitRequest request;
  request.cookie_name = "sharing";
  request.cookie_path = "/sharing/hash";
  return request;
}

TEST(Cookie, Session_HasTheAttributesAndNoOthers) {
  VisitRequest request = Request();

  EXPECT_EQ("sharing=abc123; Path=/sharing/hash; HttpOnly; SameSite=Lax",
            SessionCookie(request, "abc123"));
  request.https = true;
  EXPECT_EQ("sharing=abc123; Path=/sharing/hash; HttpOnly; SameSite=Lax; Secure",
            SessionCookie(request, "abc123"));
}

TEST(Cookie, Deleted_HasTheSamePathAndNoAge) {
  VisitRequest request = Request();
  request.https = true;

  EXPECT_EQ("sharing=; Path=/sharing/hash; HttpOnly; SameSite=Lax; Secure; Max-Age=0",
            DeletedCookie(request));
}

TEST(Cookie, NameOrPathThatWouldSplitAHeader_IsNotSent) {
  for (const char* name : {"", "a b", "a=b", "a;b", "a\r\nb", "a\x7f", "\xc3\xa4"}) {
    VisitRequest request = Request();
    request.cookie_name = name;
    EXPECT_FALSE(CanSetCookie(request)) << name;
    EXPECT_EQ("", DeletedCookie(request)) << name;
  }
  for (const char* path : {"", "sharing", "/a;b", "/a b", "/a\nb", "/a\r", "/\xc3\xa4"}) {
    VisitRequest request = Request();
    request.cookie_path = path;
    EXPECT_FALSE(CanSetCookie(request)) << path;
  }
  EXPECT_TRUE(CanSetCookie(Request()));
}

TEST(Cookie, ValueThatWouldSplitAHeader_IsNotSent) {
  for (const char* value : {"", "a b", "a;b", "a,b", "a\"b", "a\\b", "a\nb", "a\x7f"}) {
    EXPECT_FALSE(IsCookieValue(value)) << value;
    EXPECT_EQ("", SessionCookie(Request(), value)) << value;
  }
  EXPECT_TRUE(IsCookieValue("0aZ-_"));
  EXPECT_FALSE(IsCookieValue(std::string_view("a\0b", 3)));
}

}  // namespace
}  // namespace VEXO::sharing
