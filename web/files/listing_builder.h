#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "web/files/listing.h"

namespace web {

/// Collects the entries of a listing in little memory, and sorts them.
class ListingBuilder {
 public:
  ListingBuilder();

  /// Adds an entry.  False, with nothing added, when there is no room for its name.
  bool Add(std::string_view name, const NodeInfo& info);

  /// The page of the listing that the query asks for.  Called once.
  Listing Finish(const ListingQuery& query);

 private:
  /// An entry.  Its name is part of one text for all names.
  struct Entry {
    std::uint64_t size;
    time_t modified;
    std::uint32_t name_begin;
    std::uint16_t name_length;
    NodeKind kind;
  };

  std::string_view NameOf(const Entry& entry) const {
    return std::string_view(names_).substr(entry.name_begin, entry.name_length);
  }
  SortKeys KeysOf(const Entry& entry) const {
    return {NameOf(entry), entry.kind, entry.size, entry.modified};
  }
  void Sort(const ListingQuery& query);
  void CutPage(size_t number);

  std::string names_;
  std::vector<Entry> entries_;
  Listing listing_;
};

}  // namespace web
