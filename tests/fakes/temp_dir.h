#pragma once

#include <string>

namespace fakes {

/// A new empty directory that every account may enter.  The destructor removes it and its
/// content.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  std::string Path(const std::string& name) const { return path_ + "/" + name; }
  /// Writes a file and returns its path.
  std::string Write(const std::string& name, const std::string& text) const;

 private:
  std::string path_;
};

}  // namespace fakes
