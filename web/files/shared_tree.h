#pragma once

#include <dirent.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>

#include "base/unique_fd.h"
#include "web/files/owner.h"
#include "web/files/share.h"

namespace web {

enum class NodeKind { kFile, kFolder };

/// What is known about a file or folder without reading it.
struct NodeInfo {
  NodeKind kind = NodeKind::kFile;
  std::uint64_t size = 0;  ///< bytes; 0 for a folder
  dev_t device = 0;
  ino_t inode = 0;
  timespec modified = {};
  timespec changed = {};  ///< last change of content, owner or mode
};

/// An open file or folder of a shared tree.
struct Node {
  std::string path;  ///< from the root of the tree; empty for the root
  NodeInfo info;
  VEXO::base::UniqueFd fd;  ///< open for reading; its position is of no account
};

enum class OpenResult {
  kOpened,
  kAbsent,  ///< does not exist for visitors
  kFailed,  ///< may exist; the reason is in errno
};

/// Largest number of names in a path.
inline constexpr int kMaxDepth = 64;

/// The file or folder that a link shares, and everything below it.  Nothing outside is
/// ever opened: links inside the tree are followed, links that lead out do not exist, and
/// neither do names with a leading dot (unless the share says otherwise), devices, FIFOs
/// and sockets, and files of the kernel such as those in /proc.
///
/// What the owner may not read does not exist either.  Where the process may become the
/// owner, it opens everything as owner, with all the owner's groups.  Otherwise the mode
/// bits of every folder on the way must admit the owner as well as the process; an access
/// control list (acl(5)) then counts as a refusal.  The previous ids are in force again
/// when a function returns.  Only one thread at a time may use the class.
class SharedTree {
 public:
  /// Opens the shared file or folder itself.  kAbsent: it is gone, or was never usable.
  /// `tree` is set when it is opened.
  static OpenResult Open(const Share& share, const Owner& owner,
                         std::unique_ptr<SharedTree>* tree);

  /// The shared file or folder.
  const Node& root() const { return root_; }

  /// Name of what is shared.
  const std::string& name() const { return name_; }

  /// Opens what is at `path`, decoded, from the root; an empty path is the root again.  A
  /// slash at the end asks for a folder.  Empty names, "." and ".." lead nowhere.
  OpenResult OpenNode(const std::string& path, Node* node) const;

 private:
  friend class FolderReader;
  class Access;

  SharedTree(const Share& share, const Owner& owner);

  OpenResult OpenRoot(const std::string& path);
  /// Finds what is at a path below the root, links followed.
  OpenResult Find(const std::string& path, VEXO::base::UniqueFd* located,
                  struct stat* status) const;
  /// Whether a file that was found exists for visitors by its kind and rights.
  OpenResult Examine(int located, struct stat* status) const;
  /// Opens a file that was examined.
  static OpenResult Take(int located, const struct stat& status, const std::string& path,
                         Node* node);
  bool Shows(std::string_view name) const;
  bool IsPath(std::string_view names) const;

  std::string name_;
  Owner owner_;
  bool hidden_;
  bool becomes_owner_;
  Node root_;
};

/// The path of an entry of the folder at `path`, which is empty for the root.
std::string JoinPath(const std::string& path, const std::string& name);

/// An entry of a folder.
struct FolderEntry {
  std::string name;
  bool link = false;  ///< a symbolic link; `info` describes its target
  NodeInfo info;
};

/// Reads the entries of a folder that exist for visitors, in no particular order.  The
/// tree must outlive it.
class FolderReader {
 public:
  /// `folder` is a folder of the tree.
  FolderReader(const SharedTree& tree, const Node& folder);
  FolderReader(const FolderReader&) = delete;
  FolderReader& operator=(const FolderReader&) = delete;
  ~FolderReader();

  enum class Step {
    kEntry,
    kEnd,
    kFailed,  ///< the reason is in errno
  };
  /// Reads the next entry into `entry`, which is unchanged unless kEntry is returned.
  Step Next(FolderEntry* entry);

 private:
  OpenResult Look(const std::string& name, FolderEntry* entry) const;

  const SharedTree& tree_;
  std::string path_;
  DIR* stream_ = nullptr;
  int failure_ = 0;  // why there is no stream
};

}  // namespace web
