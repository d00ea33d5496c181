#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <utility>

#include "base/unique_fd.h"

namespace VEXO::base {

/// A new file that appears under its name completely or not at all.  It is written under
/// another name in the same folder, where only its owner may read it, and removed at the
/// end unless it was put in place.  Functions that return false leave the reason in
/// errno.
class AtomicFile {
 public:
  explicit AtomicFile(std::string path) : path_(std::move(path)) {}
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;
  ~AtomicFile();

  /// Creates the empty file under its other name, with mode 0600.
  bool Create();

  /// The other name, for those who open the file themselves; empty before Create.
  const std::string& working_path() const { return working_path_; }

  bool SetAccess(uid_t owner, gid_t group, mode_t mode);

  /// Appends to the content.  Buffered: the failure may be that of an earlier text.
  bool Append(std::string_view text);

  /// What happens to a file that has the name already: kKeep fails with EEXIST.
  enum class Existing { kKeep, kReplace };

  /// Puts the file in place.  The process has no descriptor of it from then on.
  bool Place(Existing existing);

  /// The same, and file and name survive a power failure.  When only the last step fails,
  /// the file is in place all the same.
  bool PlaceDurably(Existing existing);

 private:
  bool Write();
  bool Rename(Existing existing);

  std::string path_;
  std::string working_path_;
  UniqueFd file_;
  std::string buffer_;
};

}  // namespace VEXO::base
