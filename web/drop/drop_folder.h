#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "base/unique_fd.h"
#include "web/files/as_owner.h"
#include "web/files/new_file.h"
#include "web/files/owner.h"
#include "web/files/share.h"
#include "web/files/shared_tree.h"

namespace web {

/// A folder that visitors send files to.  Files are created in it as the owner of the
/// link where the process may become the owner.  Otherwise the mode bits must let the
/// owner create files as well as the process; an access control list then counts as a
/// refusal.
class DropFolder {
 public:
  /// kAbsent: the folder is gone, or the owner may not read it.  kFailed, with the reason
  /// in errno: among others, EACCES when the owner or the process may not create files.
  /// `folder` is set when it is opened.
  static OpenResult Open(const Share& share, const Owner& owner,
                         std::unique_ptr<DropFolder>* folder);

  /// Of the share.
  const DropLimits& limits() const { return limits_; }

  /// What a folder holds itself, without the folders in it and files that are not
  /// complete.
  struct Contents {
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
  };

  /// Rights to use the folder, for as long as the object exists.
  class Access {
   public:
    explicit Access(const DropFolder& folder);
    /// False, with the reason in errno, when the rights cannot be taken any more.
    bool good() const;

   private:
    std::optional<AsOwner> as_owner_;
  };

  // What follows needs an Access.  On failure the reason is in errno.

  std::optional<Contents> Count() const;

  /// Null on failure.
  std::unique_ptr<NewFile> CreateFile() const;

  /// Gives the file the rights of the folder, without execution and without writing for
  /// everybody, so that the owner can read it, and waits until it is on the disk.
  bool Finish(const NewFile& file) const;

  /// Waits until the names of the folder are on the disk.
  bool Sync() const;

  /// Keeps other uploads from adding files while the descriptor is open.  None when
  /// another process keeps the folder for longer than `timeout`.
  VEXO::base::UniqueFd Lock(std::chrono::milliseconds timeout) const;

 private:
  DropFolder(std::unique_ptr<SharedTree> tree, const DropLimits& limits,
             const Owner& owner)
      : tree_(std::move(tree)),
        limits_(limits),
        owner_(owner),
        becomes_owner_(AsOwner(owner).good()) {}

  bool MayCreate() const;
  int fd() const { return tree_->root().fd.get(); }

  std::unique_ptr<SharedTree> tree_;
  DropLimits limits_;
  Owner owner_;
  bool becomes_owner_;
};

}  // namespace web
