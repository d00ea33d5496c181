#include "web/files/listing.h"

#include <algorithm>
#include <climits>
#include <limits>
#include <queue>
#include <utility>

#include "base/number.h"
#include "web/deadline.h"
#include "web/files/listing_builder.h"
#include "web/files/name_search.h"

namespace web {

namespace {

/// Reads a folder, or all folders below it, the upper ones first.
class Reading {
 public:
  Reading(const SharedTree& tree, const Node& folder, const ListingQuery& query)
      : tree_(tree), folder_(folder), query_(query), search_(query.search) {}

  /// False, with the reason in errno, when a folder cannot be read.
  bool Read();
  Listing Finish() {
    Listing listing = builder_.Finish(query_);
    listing.complete = complete_;
    return listing;
  }

 private:
  bool ReadFolder(const Node& folder, const std::string& path);
  bool Take(const FolderEntry& entry, const std::string& path);
  bool IsLate() const { return query_.below && deadline_.IsOver(); }

  const SharedTree& tree_;
  const Node& folder_;
  const ListingQuery& query_;
  const NameSearch search_;
  const Deadline deadline_{query_.timeout};
  ListingBuilder builder_;
  std::queue<std::string> folders_;  // still to be read: paths below the folder
  size_t folder_bytes_ = 0;          // of these paths
  size_t count_ = 0;
  bool full_ = false;
  bool complete_ = true;
};

bool Reading::Read() {
  if (!ReadFolder(folder_, "")) return false;
  for (; !full_ && !folders_.empty(); folders_.pop()) {
    Node folder;
    const std::string& path = folders_.front();
    const OpenResult opened = tree_.OpenNode(JoinPath(folder_.path, path) + "/", &folder);
    if (opened == OpenResult::kFailed) return false;
    if (opened == OpenResult::kAbsent) continue;  // gone meanwhile
    if (!ReadFolder(folder, path)) return false;
    folder_bytes_ -= path.size();
  }
  return true;
}

bool Reading::ReadFolder(const Node& folder, const std::string& path) {
  FolderReader reader(tree_, folder);
  FolderEntry entry;
  for (;;) {
    const FolderReader::Step step = reader.Next(&entry);
    if (step == FolderReader::Step::kFailed) return false;
    if (step == FolderReader::Step::kEnd) return true;
    if (++count_ > kMaxEntries || IsLate() || !Take(entry, JoinPath(path, entry.name))) {
      full_ = true;
      complete_ = false;
      return true;
    }
  }
}

/// False when there is no room for the entry.
bool Reading::Take(const FolderEntry& entry, const std::string& path) {
  if (query_.below && path.size() > kMaxPathBelow) {
    complete_ = false;
    return true;
  }
  if (search_.Finds(entry.name) && !builder_.Add(path, entry.info)) return false;
  if (!query_.below || entry.link || entry.info.kind != NodeKind::kFolder) return true;
  const std::string whole = JoinPath(folder_.path, path);
  if (std::count(whole.begin(), whole.end(), '/') + 1 >= kMaxDepth ||
      whole.size() + 1 >= PATH_MAX) {
    complete_ = false;
    return true;
  }
  folder_bytes_ += path.size();
  folders_.push(path);
  return folder_bytes_ <= kMaxNameBytes / 2;
}

}  // namespace

ListingQuery ParseListingQuery(std::string_view sort, std::string_view order,
                               std::string_view page, std::string search) {
  ListingQuery query;
  if (sort == "size") query.sort = SortKey::kSize;
  if (sort == "time") query.sort = SortKey::kTime;
  query.descending = order == "desc";
  query.page =
      VEXO::base::ParseNumber<size_t>(page, 1, std::numeric_limits<size_t>::max())
          .value_or(1);
  query.search = std::move(search);
  return query;
}

const char* SortName(SortKey key) {
  switch (key) {
    case SortKey::kSize:
      return "size";
    case SortKey::kTime:
      return "time";
    default:
      return "name";
  }
}

const char* OrderName(bool descending) { return descending ? "desc" : "asc"; }

bool ReadListing(const SharedTree& tree, const Node& folder, const ListingQuery& query,
                 Listing* listing) {
  Reading reading(tree, folder, query);
  if (!reading.Read()) return false;
  *listing = reading.Finish();
  return true;
}

}  // namespace web
