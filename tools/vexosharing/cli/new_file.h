#pragma once

#include <string>

#include "base/atomic_file.h"

namespace command {

/// A file that is created atomically and that only its owner may read.  Every failure has
/// been reported.
class NewFile {
 public:
  /// `path` "-" is standard output: the file is written in the directory for temporary
  /// files and copied to standard output when it is published.  With `replace` an
  /// existing file may be replaced.
  NewFile(const std::string& path, bool replace);

  /// Creates the empty file under a temporary name.  False when the file at `path` must
  /// not be replaced; `database` and the files that belong to it never are.
  bool Make(const std::string& database);
  /// The temporary name, for those who open the file themselves.
  const std::string& working_path() const { return file_.working_path(); }
  bool is_standard_output() const { return path_ == "-"; }

  /// Buffered; false when the file cannot be written.
  bool Append(const std::string& text) { return file_.Append(text) || Failed(); }
  /// Syncs the file to disk and moves it into its place.
  bool Publish();

 private:
  static std::string TemporaryPath();
  bool MayTakePlace(const std::string& database) const;
  /// Reports errno, or `reason`; false.
  bool Failed(const std::string& reason = "") const;

  std::string path_;
  bool replace_;
  VEXO::base::AtomicFile file_;
};

}  // namespace command
