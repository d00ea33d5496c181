#include "utils/wipe.h"

#include <gtest/gtest.h>

#include <string>

namespace VEXO::sharing {
namespace {

TEST(WipeAtEnd, End_ZeroesTheBytesAndNoOther) {
  std::string secret = "secret!";

  {
    const WipeAtEnd wipe(secret.data(), 6);
    EXPECT_EQ("secret!", secret);
  }
  EXPECT_EQ(std::string("\0\0\0\0\0\0!", 7), secret);
}

}  // namespace
}  // namespace VEXO::sharing
