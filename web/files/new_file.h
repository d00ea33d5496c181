#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <string_view>

#include "base/unique_fd.h"

namespace web {

/// Beginning of the hidden names that files may have until they are complete.
inline constexpr std::string_view kIncompletePrefix = ".incomplete-";

/// A file that is not in its folder before it is complete.  It has no name, or on a file
/// system without such files a hidden one, and goes away with the object unless it was
/// named.  The folder must stay open for as long.
class NewFile {
 public:
  /// Creates an empty file that only its owner can read.  Null, with the reason in errno,
  /// on failure.
  static std::unique_ptr<NewFile> Create(int folder);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  int fd() const { return fd_.get(); }

  /// Adds bytes at the end.  False, with the reason in errno, on failure.
  bool Write(std::string_view bytes);

  /// Puts the file into its folder, never in the place of another one: then false, with
  /// EEXIST in errno.
  bool GiveName(const std::string& name);

  /// Takes it away again, after GiveName.
  void RemoveName(const std::string& name) const;

 private:
  NewFile(int folder, VEXO::base::UniqueFd fd, std::string hidden_name);

  int folder_;
  VEXO::base::UniqueFd fd_;
  std::string hidden_name_;  // empty where the file has none
};

}  // namespace web
