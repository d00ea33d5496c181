#pragma once

#include <string>

namespace fakes {

/// A new empty folder that every account may enter, removed with all that is in it.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  std::string Path(const std::string& name) const { return path_ + "/" + name; }
  /// Writes a file and answers its path.
  std::string Write(const std::string& name, const std::string& text) const;

 private:
  std::string path_;
};

}  // namespace fakes
