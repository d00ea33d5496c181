#include "base/never_shared.h"

#include <gtest/gtest.h>

namespace {

using VEXO::base::FolderNeverShared;

TEST(FolderNeverShared, PathInside_IsOfTheFolder) {
  EXPECT_EQ(FolderNeverShared("/proc"), "/proc");
  EXPECT_EQ(FolderNeverShared("/proc/"), "/proc");
  EXPECT_EQ(FolderNeverShared("/sys/kernel"), "/sys");
  EXPECT_EQ(FolderNeverShared("/dev/null"), "/dev");
  EXPECT_EQ(FolderNeverShared("/usr/vexo/etc/private/x"), "/usr/vexo/etc");
}

TEST(FolderNeverShared, PathThatContainsOne_IsOfTheFolder) {
  EXPECT_EQ(FolderNeverShared("/"), "/proc");
  EXPECT_EQ(FolderNeverShared("/usr"), "/usr/vexo/etc");
  EXPECT_EQ(FolderNeverShared("/usr/vexo"), "/usr/vexo/etc");
}

TEST(FolderNeverShared, OtherPath_IsOfNone) {
  EXPECT_EQ(FolderNeverShared("/srv"), "");
  EXPECT_EQ(FolderNeverShared("/process"), "");
  EXPECT_EQ(FolderNeverShared("/usr/vexo/etcetera"), "");
  EXPECT_EQ(FolderNeverShared("/usr/share"), "");
  EXPECT_EQ(FolderNeverShared("/home/usr/vexo/etc"), "");
}

}  // namespace
