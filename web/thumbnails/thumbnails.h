#pragma once

#include <optional>
#include <string>

#include "web/files/shared_tree.h"
#include "web/thumbnails/cache.h"

namespace web {

/// The thumbnails of pictures: from the cache, or made by a program of their own.
class Thumbnails {
 public:
  /// `cache_size` as for ThumbnailCache.
  explicit Thumbnails(std::uint64_t cache_size);

  /// What is known about the thumbnail of a file without making it.
  std::optional<Thumbnail> Find(const NodeInfo& file) const;

  /// Makes a thumbnail and stores it.  May take many seconds.
  Thumbnail Make(const Node& file) const;

 private:
  ThumbnailCache cache_;
};

/// Whether files of this name are pictures that may have a thumbnail.
bool MayHaveThumbnail(const std::string& name);

/// A strong entity tag for the thumbnail of a file.
std::string ThumbnailTag(const NodeInfo& file);

}  // namespace web
