#include "admin/secret.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

namespace admin {
namespace {

using testing::ContainsRegex;

TEST(Secret, GeneratedPassword_Has20CharactersWithoutLookAlikes) {
  std::set<std::string> seen;
  for (int i = 0; i < 200; ++i) {
    Secret secret;
    ASSERT_TRUE(secret.Generate());
    EXPECT_THAT(secret.text(), ContainsRegex("^[a-kmnp-zA-HJ-NP-Z2-9]{20}$"));
    seen.insert(secret.text());
  }
  EXPECT_EQ(seen.size(), 200U);
}

TEST(Secret, BufferNeverMoves) {
  Secret secret;
  secret.Append('x');
  const char* const buffer = secret.text().data();
  while (secret.Append('x')) {
  }
  EXPECT_EQ(secret.text().size(), Secret::kMaxLength);
  secret.Clear();
  EXPECT_TRUE(secret.empty());
  ASSERT_TRUE(secret.Generate());
  EXPECT_EQ(secret.text().data(), buffer);
}

}  // namespace
}  // namespace admin
