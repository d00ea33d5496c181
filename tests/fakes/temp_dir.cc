#include "temp_dir.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace fakes {

TempDir::TempDir() : path_(testing::TempDir() + "vexosharing-test-XXXXXX") {
  if (mkdtemp(path_.data()) == nullptr) ADD_FAILURE() << "mkdtemp failed: " << path_;
  EXPECT_EQ(chmod(path_.c_str(), 0755), 0);
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::Write(const std::string& name, const std::string& text) const {
  std::ofstream file(Path(name), std::ios::binary);
  file << text;
  if (!file.flush()) ADD_FAILURE() << "cannot write " << Path(name);
  return Path(name);
}

}  // namespace fakes
