#include "visit/request_environment.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "sharing_visit.h"

namespace VEXO::sharing {
namespace {

std::string Variable(const char* name) {
  const char* const value = getenv(name);
  return value == nullptr ? "none" : value;
}

TEST(RequestEnvironment, Exists_OnlyTheAddressDescribesTheRequest) {
  const char* const others[] = {"QUERY_STRING",   "HTTP_COOKIE", "CONTENT_TYPE",
                                "CONTENT_LENGTH", "REQUEST_URI", "REQUEST_METHOD"};
  for (const char* name : others) setenv(name, "of the process", 1);
  setenv("REMOTE_ADDR", "198.51.100.1", 1);
  setenv("HTTP_X_FORWARDED_FOR", "198.51.100.2", 1);
  setenv("QUERY_STRINGS", "another variable", 1);
  VisitRequest request;
  request.remote_address = "192.0.2.7";
  request.forwarded_for = "192.0.2.8";
  {
    const RequestEnvironment environment(request);

    for (const char* name : others) EXPECT_EQ("none", Variable(name)) << name;
    EXPECT_EQ("192.0.2.7", Variable("REMOTE_ADDR"));
    EXPECT_EQ("192.0.2.8", Variable("HTTP_X_FORWARDED_FOR"));
    EXPECT_EQ("another variable", Variable("QUERY_STRINGS"));
  }
  for (const char* name : others) EXPECT_EQ("of the process", Variable(name)) << name;
  EXPECT_EQ("198.51.100.1", Variable("REMOTE_ADDR"));
  EXPECT_EQ("198.51.100.2", Variable("HTTP_X_FORWARDED_FOR"));
}

TEST(RequestEnvironment, AddressIsMissing_IsNotThatOfTheProcess) {
  setenv("REMOTE_ADDR", "198.51.100.1", 1);
  setenv("HTTP_X_FORWARDED_FOR", "198.51.100.2", 1);

  const RequestEnvironment environment{VisitRequest()};

  EXPECT_EQ("none", Variable("REMOTE_ADDR"));
  EXPECT_EQ("none", Variable("HTTP_X_FORWARDED_FOR"));
}

TEST(RequestEnvironment, End_NoVariableOfTheRequestIsLeft) {
  unsetenv("REMOTE_ADDR");
  unsetenv("HTTP_X_FORWARDED_FOR");
  VisitRequest request;
  request.remote_address = "192.0.2.7";
  request.forwarded_for = "192.0.2.8";
  {
    const RequestEnvironment environment(request);
    setenv("SET_MEANWHILE", "1", 1);  // as a module of PAM might
  }
  EXPECT_EQ("none", Variable("REMOTE_ADDR"));
  EXPECT_EQ("none", Variable("HTTP_X_FORWARDED_FOR"));
  EXPECT_EQ("1", Variable("SET_MEANWHILE"));
}

TEST(RequestEnvironment, EmptyEnvironment_Works) {
  const auto use = [] {
    clearenv();
    VisitRequest request;
    request.remote_address = "192.0.2.7";
    bool is_set = false;
    {
      const RequestEnvironment environment(request);
      is_set = Variable("REMOTE_ADDR") == "192.0.2.7";
    }
    _exit(is_set && Variable("REMOTE_ADDR") == "none" ? 0 : 1);
  };
  EXPECT_EXIT(use(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace VEXO::sharing
