#include "utils/null_text.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace VEXO::sharing {
namespace {

TEST(TextOrThrow, Text_IsCopied) {
  EXPECT_EQ("abc", TextOrThrow("abc"));
  EXPECT_EQ("", TextOrThrow(""));
}

TEST(TextOrThrow, Null_ThrowsTheStandardLogicError) {
  try {
    TextOrThrow(nullptr);
    FAIL() << "nothing thrown";
  } catch (const std::logic_error& error) {
    EXPECT_STREQ("basic_string::_M_construct null not valid", error.what());
  }
}

}  // namespace
}  // namespace VEXO::sharing
