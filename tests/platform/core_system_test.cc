#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "support.h"
#include "vexo/core.h"

namespace {

constexpr uid_t kSystem = 1;

std::string FirstLine(FILE* stream) {
  char line[200] = "";
  return fgets(line, sizeof(line), stream) == nullptr ? "" : line;
}

}  // namespace

TEST(PopenAsRoot, EffectiveIds_AreTheChilds) {
  InChild([] {
    ASSERT_EQ(setresgid(-1, kSystem, -1), 0);
    ASSERT_EQ(setresuid(-1, kSystem, -1), 0);
    FILE* const stream = VLIBCPopen(
        "/bin/sh", "r", "-pc", "echo $(id -ru) $(id -u) $(id -rg) $(id -g)", nullptr);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(FirstLine(stream), "0 1 0 1\n");
    EXPECT_EQ(VLIBCPclose(stream), 0);
  });
}
