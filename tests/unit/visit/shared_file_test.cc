#include "visit/shared_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>

#include "fake_platform.h"
#include "temp_dir.h"

namespace VEXO::sharing {
namespace {

class EnsureSharedFileTest : public testing::Test {
 protected:
  EnsureSharedFileTest() { platform_.ids = {1, 1, 1, 1}; }

  bool Ensure() const { return EnsureSharedFile(folder_.Path("."), path_); }
  struct stat Status() const {
    struct stat status = {};
    if (stat(path_.c_str(), &status) == -1) ADD_FAILURE() << path_;
    return status;
  }

  fakes::Platform platform_;
  fakes::TempDir folder_;
  const std::string path_ = folder_.Path("file");
};

TEST_F(EnsureSharedFileTest, MissingFile_IsCreatedForOwnerAndGroupWhateverTheMask) {
  const mode_t mask = umask(0077);
  EXPECT_TRUE(Ensure());
  umask(mask);

  EXPECT_EQ(0660U, Status().st_mode & 07777);
  EXPECT_EQ(0, Status().st_size);
}

TEST_F(EnsureSharedFileTest, ExistingFile_IsLeftAsItIs) {
  folder_.Write("file", "text");
  ASSERT_EQ(0, chmod(path_.c_str(), 0600));

  EXPECT_TRUE(Ensure());
  EXPECT_EQ(0600U, Status().st_mode & 07777);
  EXPECT_EQ(4, Status().st_size);
}

TEST_F(EnsureSharedFileTest, MissingFolder_IsAFailure) {
  EXPECT_FALSE(EnsureSharedFile(folder_.Path("none"), folder_.Path("none/file")));
  EXPECT_EQ(ENOENT, errno);
}

}  // namespace
}  // namespace VEXO::sharing
