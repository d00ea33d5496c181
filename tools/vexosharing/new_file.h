#pragma once

#include <string>

namespace command {

/// A file that appears whole or not at all, and that only its owner may read.  It is
/// written under another name beside its place, and goes away at the end unless it was
/// published.  Every failure has been told.
class NewFile {
 public:
  /// With `replace` a file that is there may be replaced.
  NewFile(std::string path, bool replace);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  /// Makes the empty file under its other name.  False when there is something at `path`
  /// that must not be replaced: `database` and the files beside it never are.
  bool Make(const std::string& database);
  /// The other name, for those who open the file themselves.
  const std::string& working_path() const { return working_path_; }

  /// Buffered; false, told, when the file cannot be written.
  bool Append(const std::string& text);
  /// Puts the file, safely on the disk, into its place.
  bool Publish();

 private:
  bool MayTakePlace(const std::string& database) const;
  bool Write();
  bool MoveIntoPlace() const;
  /// Makes the new name in the folder last.
  bool SyncFolder() const;
  bool Failed(int reason) const;

  std::string path_;
  bool replace_;
  std::string working_path_;
  int fd_ = -1;
  std::string buffer_;
};

}  // namespace command
