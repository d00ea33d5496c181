#include "result_code.h"

#include <gtest/gtest.h>

namespace {

TEST(ResultCode, Result_HasItsOwnMeaningForLoginAndCheck) {
  EXPECT_STREQ("too many failed logins from this address",
               VexoSharingLoginMeaning(SHARING_LOGIN_ADDRESS_BLOCKED));
  EXPECT_STREQ("the address is not that of the login",
               VexoSharingCheckMeaning(SHARING_CHECK_OTHER_ADDRESS));
}

TEST(ResultCode, OtherNumber_IsUnknown) {
  for (const int number : {0, 2, -5, -12}) {
    EXPECT_STREQ("unknown result", VexoSharingLoginMeaning(number));
  }
  for (const int number : {0, 2, -3, -9}) {
    EXPECT_STREQ("unknown result", VexoSharingCheckMeaning(number));
  }
}

}  // namespace
