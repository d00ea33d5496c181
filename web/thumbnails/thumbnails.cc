#include "web/thumbnails/thumbnails.h"

#include "web/deadline.h"
#include "web/files/content_type.h"
#include "web/files/etag.h"
#include "web/thumbnails/helper_slot.h"
#include "web/thumbnails/run_helper.h"

namespace web {
namespace {

const char kHelper[] = "/usr/vexo/libexec/sharing-thumbnail";
const char kCache[] = "/usr/vexo/var/cache/sharing";
// Not in the cache, which may be missing or full.
const char kPlaces[] = "/usr/vexo/etc/private/visit/thumbnails.lock";

// Changes when thumbnails look different.
const char kVersion[] = "thumbnail1";

constexpr int kHelpersAtOnce = 2;
constexpr std::chrono::seconds kWaitingTime(10);
constexpr std::chrono::seconds kHelperTime(10);
constexpr std::uint64_t kLargestFile = 64 << 20;

std::string KeyOf(const NodeInfo& file) {
  const std::string tag = ThumbnailTag(file);
  return tag.substr(1, tag.size() - 2);
}

}  // namespace

Thumbnails::Thumbnails(std::uint64_t cache_size) : cache_(kCache, cache_size) {}

std::optional<Thumbnail> Thumbnails::Find(const NodeInfo& file) const {
  if (file.size > kLargestFile) return Thumbnail{Thumbnail::State::kNone, ""};
  return cache_.Find(KeyOf(file));
}

Thumbnail Thumbnails::Make(const Node& file) const {
  HelperSlot slot;
  if (!slot.Take(kPlaces, kHelpersAtOnce, Deadline(kWaitingTime))) return {};
  // Another request may have made it meanwhile.
  if (std::optional<Thumbnail> found = Find(file.info)) return *found;
  Thumbnail thumbnail = RunHelper(kHelper, file.fd.get(), kHelperTime);
  if (thumbnail.state != Thumbnail::State::kLater) {
    cache_.Store(KeyOf(file.info), thumbnail);
  }
  return thumbnail;
}

bool MayHaveThumbnail(const std::string& name) {
  const std::string type = ContentTypeOf(name).type;
  return type == "image/jpeg" || type == "image/png" || type == "image/webp";
}

std::string ThumbnailTag(const NodeInfo& file) {
  const std::string tag = EntityTag(file);
  return "\"" + std::string(kVersion) + "-" + tag.substr(1);
}

}  // namespace web
