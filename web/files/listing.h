#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "web/files/shared_tree.h"

namespace web {

enum class SortKey { kName, kSize, kTime };

/// How a visitor wants to see a folder.
struct ListingQuery {
  SortKey sort = SortKey::kName;
  bool descending = false;
  size_t page = 1;
  bool grid = false;   ///< pictures instead of rows
  std::string search;  ///< only names that contain it, case ignored; empty for all
  /// Also entries of all folders below, except behind links.
  bool below = false;
  /// How long these folders may be read.
  std::chrono::milliseconds timeout = std::chrono::seconds(3);
};

/// The query that the texts of a request's parameters mean: "name", "size" or "time";
/// "asc" or "desc"; a number.  Anything else means the default.
ListingQuery ParseListingQuery(std::string_view sort, std::string_view order,
                               std::string_view page, std::string search);

/// The same texts for a query.
const char* SortName(SortKey key);
const char* OrderName(bool descending);

struct ListingEntry {
  std::string name;  ///< of entries of folders below: the path, names separated by /
  NodeKind kind = NodeKind::kFile;
  std::uint64_t size = 0;  ///< bytes; 0 for a folder
  time_t modified = 0;
};

/// One page of a folder.  The totals are those of all pages.
struct Listing {
  std::vector<ListingEntry> entries;
  size_t page = 1;
  size_t page_count = 1;
  size_t folders = 0;
  size_t files = 0;
  std::uint64_t bytes = 0;
  /// False when there are more entries than can be shown or than there was time for, or
  /// folders deeper than kMaxDepth, or longer paths than can be opened or shown.
  bool complete = true;
};

inline constexpr size_t kEntriesOfPage = 500;
/// Entries that are read for a listing at most, and bytes that their names have together.
inline constexpr size_t kMaxEntries = 100'000;
inline constexpr size_t kMaxNameBytes = 8 << 20;
/// Bytes of the path of an entry of a folder below at most: a page has 500 of them.
inline constexpr size_t kMaxPathBelow = 1 << 10;

/// Reads a folder of the tree and sorts it: folders before files, numbers within names by
/// their value, ASCII letters without regard to case.  Entries of equal size or time, and
/// folders when the key is the size, follow each other by name.  A page that does not
/// exist means the first.  False, with the reason in errno, when the folder cannot be
/// read; `listing` is unchanged then.
bool ReadListing(const SharedTree& tree, const Node& folder, const ListingQuery& query,
                 Listing* listing);

/// What the place of an entry in a listing depends on.
struct SortKeys {
  std::string_view name;
  NodeKind kind;
  std::uint64_t size;
  time_t modified;
};

inline SortKeys KeysOf(const ListingEntry& entry) {
  return {entry.name, entry.kind, entry.size, entry.modified};
}

/// Whether `left` comes before `right` in a listing in the order of the query.
bool ComesBefore(const SortKeys& left, const SortKeys& right, const ListingQuery& query);

/// The same in a listing sorted by name.
bool NameComesBefore(std::string_view left, std::string_view right);

}  // namespace web
