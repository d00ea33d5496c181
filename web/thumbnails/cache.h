#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "web/thumbnails/run_helper.h"

namespace web {

/// Thumbnails that were made before, in a folder of the system account.  A cache that
/// cannot be read or written has nothing and keeps nothing.
class ThumbnailCache {
 public:
  /// @param size  bytes on the disk that all thumbnails may have together
  ThumbnailCache(std::string folder, std::uint64_t size)
      : folder_(std::move(folder)), size_(size) {}

  /// Finds what was stored for a key, kNone included.
  std::optional<Thumbnail> Find(const std::string& key) const;

  /// Stores a thumbnail, or that there is none.  It appears complete or not at all.  The
  /// oldest ones are removed where there is no more room.
  ///
  /// @param key  a name for a file, for which only one thumbnail is ever made
  void Store(const std::string& key, const Thumbnail& thumbnail) const;

 private:
  std::string FolderOf(const std::string& key) const;

  std::string folder_;
  std::uint64_t size_;
};

}  // namespace web
