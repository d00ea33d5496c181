#include "version.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Version, Macros_AreTheVersionOfTheProject) {
  EXPECT_STREQ(VEXO_PROJECT_VERSION, VEXOSHARING_VERSION);
  EXPECT_EQ(VEXO_PROJECT_VERSION, std::to_string(VEXOSHARING_VERSION_MAJOR) + "." +
                                      std::to_string(VEXOSHARING_VERSION_MINOR) + "." +
                                      std::to_string(VEXOSHARING_VERSION_PATCH));
}

}  // namespace
