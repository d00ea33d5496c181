#pragma once

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <cstdio>
#include <string>

namespace fakes {

/// Makes a shared library unusable for programs that have not loaded it yet, until the
/// end of the scope.  In a private mount namespace only.
class HiddenLibrary {
 public:
  /// @param name  as in "libpam.so.0"
  explicit HiddenLibrary(const std::string& name) {
    FILE* const found = popen(("ldconfig -p | grep '^\t" + name +
                               " ' | head -1 | "
                               "sed 's/.* => //' | tr -d '\\n'")
                                  .c_str(),
                              "r");
    char path[256] = "";
    EXPECT_NE(fgets(path, sizeof(path), found), nullptr) << name;
    pclose(found);
    path_ = path;
    EXPECT_EQ(mount("/dev/null", path, nullptr, MS_BIND, nullptr), 0) << path;
  }
  HiddenLibrary(const HiddenLibrary&) = delete;
  HiddenLibrary& operator=(const HiddenLibrary&) = delete;
  ~HiddenLibrary() { EXPECT_EQ(umount(path_.c_str()), 0) << path_; }

 private:
  std::string path_;
};

}  // namespace fakes
