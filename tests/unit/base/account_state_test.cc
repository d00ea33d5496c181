#include "base/account_state.h"

#include <gtest/gtest.h>

#include "fake_system.h"

namespace {

using VEXO::base::ShadowState;
using VEXO::base::StateOfAccount;

constexpr time_t kDay = 24L * 60 * 60;

TEST(StateOfAccount, PasswordWithAnExclamationMark_IsLocked) {
  FakeSystem system;
  system.shadow = {{"anna", {"$6$hash"}}, {"ben", {"!$6$hash"}}, {"cleo", {"*"}}};

  EXPECT_EQ(StateOfAccount("anna", 0), ShadowState::kActive);
  EXPECT_EQ(StateOfAccount("ben", 0), ShadowState::kLocked);
  EXPECT_EQ(StateOfAccount("cleo", 0), ShadowState::kActive);
}

TEST(StateOfAccount, ExpiryDay_ExpiresWithItsFirstSecond) {
  FakeSystem system;
  system.shadow = {{"anna", {"x", 10}}};

  EXPECT_EQ(StateOfAccount("anna", 10 * kDay - 1), ShadowState::kActive);
  EXPECT_EQ(StateOfAccount("anna", 10 * kDay), ShadowState::kExpired);
}

TEST(StateOfAccount, NoExpiryDay_NeverExpires) {
  FakeSystem system;
  system.shadow = {{"anna", {"x", -1}}, {"ben", {"x", 0}}};

  EXPECT_EQ(StateOfAccount("anna", 10 * kDay), ShadowState::kActive);
  EXPECT_EQ(StateOfAccount("ben", 10 * kDay), ShadowState::kActive);
}

TEST(StateOfAccount, MissingEntry_IsActive) {
  FakeSystem system;

  EXPECT_EQ(StateOfAccount("anna", 0), ShadowState::kActive);
}

TEST(StateOfAccount, UnreadableShadowFile_IsActiveWhateverTheEntrySays) {
  FakeSystem system;
  system.shadow = {{"ben", {"!"}}};
  system.may_read_shadow = false;

  EXPECT_EQ(StateOfAccount("ben", 0), ShadowState::kActive);
}

}  // namespace
