#include "web/files/neighbours.h"

#include <cstddef>

#include "web/files/content_type.h"

namespace web {

namespace {

bool IsPicture(const FolderEntry& entry) {
  return entry.info.kind == NodeKind::kFile &&
         ContentTypeOf(entry.name).preview == Preview::kPicture;
}

}  // namespace

Neighbours FindNeighbours(const SharedTree& tree, const Node& folder,
                          const ListingQuery& query, const ListingEntry& picture) {
  ListingEntry previous;
  ListingEntry next;
  FolderReader reader(tree, folder);
  FolderEntry entry;
  for (size_t count = 0;
       count < kMaxEntries && reader.Next(&entry) == FolderReader::Step::kEntry;
       ++count) {
    if (!IsPicture(entry) || entry.name == picture.name) continue;
    const ListingEntry other = {entry.name, entry.info.kind, entry.info.size,
                                entry.info.modified.tv_sec};
    const bool before = ComesBefore(KeysOf(other), KeysOf(picture), query);
    ListingEntry& nearest = before ? previous : next;
    const bool nearer = ComesBefore(KeysOf(before ? nearest : other),
                                    KeysOf(before ? other : nearest), query);
    if (nearest.name.empty() || nearer) nearest = other;
  }
  return {previous.name, next.name};
}

}  // namespace web
