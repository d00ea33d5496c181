#include "temp_dir.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

namespace fakes {

TempDir::TempDir() : path_(testing::TempDir() + "vexosharing-test-XXXXXX") {
  if (mkdtemp(path_.data()) == nullptr) ADD_FAILURE() << "mkdtemp failed: " << path_;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace fakes
