#include "web/variables.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using web::Variables;

TEST(Variables, TextsOfTheServer_AreCopied) {
  const char* const texts[] = {"A=1", "B=x=y", "EMPTY=", "no equals sign",
                               "A=2", nullptr};
  const Variables variables(texts);

  EXPECT_EQ(variables.Get("A"), "1");
  EXPECT_EQ(variables.Get("B"), "x=y");
  EXPECT_TRUE(variables.Has("EMPTY"));
  EXPECT_FALSE(variables.Has("C"));
  EXPECT_EQ(variables.Get("C"), "");
  EXPECT_TRUE(variables.repeats());
  EXPECT_EQ(variables.size(), 3U + 5U + 6U + 3U);
}

TEST(Variables, EachNameOnce_DoNotRepeat) {
  const char* const texts[] = {"A=1", "B=1", nullptr};
  EXPECT_FALSE(Variables(texts).repeats());
}

TEST(ClearEnvironment, VariablesOfTheRequest_AreRemoved) {
  const char* const names[] = {"QUERY_STRING",   "HTTP_COOKIE",  "CONTENT_TYPE",
                               "CONTENT_LENGTH", "HTTP_X_OTHER", "LANGUAGE"};
  for (const char* const name : names) setenv(name, "x", 1);
  setenv("TZ", "UTC", 1);

  web::ClearEnvironment();

  for (const char* const name : names) EXPECT_EQ(getenv(name), nullptr) << name;
  EXPECT_STREQ(getenv("TZ"), "UTC");
}

}  // namespace
