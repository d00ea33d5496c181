#include "visit/digest.h"

#include <gtest/gtest.h>

namespace VEXO::sharing {
namespace {

TEST(Digest, Text_GivesItsSha256InLowerCase) {
  EXPECT_EQ("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855",
            Digest(""));
  EXPECT_EQ("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
            Digest("abc"));
}

}  // namespace
}  // namespace VEXO::sharing
