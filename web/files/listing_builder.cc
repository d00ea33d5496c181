#include "web/files/listing_builder.h"

#include <algorithm>
#include <utility>

#include "base/text.h"

namespace web {

namespace {

using VEXO::base::ToLowerAscii;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// Removes the digits at the front of a text.  Returns them without leading zeros.
std::string_view TakeNumber(std::string_view* text) {
  size_t end = 0;
  while (end < text->size() && IsDigit((*text)[end])) ++end;
  std::string_view digits = text->substr(0, end);
  text->remove_prefix(end);
  digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
  return digits;
}

/// Less than, equal to or greater than 0, as `left` comes before, with or after `right`.
int CompareNumbers(std::string_view left, std::string_view right) {
  if (left.size() != right.size()) return left.size() < right.size() ? -1 : 1;
  return left.compare(right);
}

/// The same for names; 0 when they differ in nothing but case and leading zeros.
int CompareNames(std::string_view left, std::string_view right) {
  while (!left.empty() && !right.empty()) {
    if (IsDigit(left.front()) && IsDigit(right.front())) {
      const int order = CompareNumbers(TakeNumber(&left), TakeNumber(&right));
      if (order != 0) return order;
      continue;
    }
    const auto a = static_cast<unsigned char>(ToLowerAscii(left.front()));
    const auto b = static_cast<unsigned char>(ToLowerAscii(right.front()));
    if (a != b) return a < b ? -1 : 1;
    left.remove_prefix(1);
    right.remove_prefix(1);
  }
  return static_cast<int>(!left.empty()) - static_cast<int>(!right.empty());
}

/// The same for the key that entries are sorted by.
int CompareKeys(const SortKeys& left, const SortKeys& right, SortKey key) {
  const auto compare = [](auto a, auto b) {
    return a < b ? -1 : static_cast<int>(b < a);
  };
  switch (key) {
    case SortKey::kSize:
      return compare(left.size, right.size);
    case SortKey::kTime:
      return compare(left.modified, right.modified);
    default:
      return CompareNames(left.name, right.name);
  }
}

}  // namespace

ListingBuilder::ListingBuilder() {
  // Growing would need room for the old and the new names at once; what is not used of
  // this needs no memory.
  names_.reserve(kMaxNameBytes);
  entries_.reserve(kMaxEntries);
}

bool ListingBuilder::Add(std::string_view name, const NodeInfo& info) {
  if (names_.size() + name.size() > kMaxNameBytes) return false;
  entries_.push_back({info.size, info.modified.tv_sec,
                      static_cast<std::uint32_t>(names_.size()),
                      static_cast<std::uint16_t>(name.size()), info.kind});
  names_ += name;
  ++(info.kind == NodeKind::kFolder ? listing_.folders : listing_.files);
  listing_.bytes += info.size;
  return true;
}

Listing ListingBuilder::Finish(const ListingQuery& query) {
  Sort(query);
  CutPage(query.page);
  for (const Entry& entry : entries_) {
    listing_.entries.push_back(
        {std::string(NameOf(entry)), entry.kind, entry.size, entry.modified});
  }
  return std::move(listing_);
}

void ListingBuilder::Sort(const ListingQuery& query) {
  std::sort(entries_.begin(), entries_.end(), [&](const Entry& left, const Entry& right) {
    return ComesBefore(KeysOf(left), KeysOf(right), query);
  });
}

/// Keeps the entries of the page only.
void ListingBuilder::CutPage(size_t number) {
  const size_t count = entries_.size();
  listing_.page_count =
      std::max<size_t>(1, (count + kEntriesOfPage - 1) / kEntriesOfPage);
  listing_.page = number >= 1 && number <= listing_.page_count ? number : 1;
  const size_t begin = (listing_.page - 1) * kEntriesOfPage;
  const size_t end = std::min(begin + kEntriesOfPage, count);
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(end), entries_.end());
  entries_.erase(entries_.begin(), entries_.begin() + static_cast<std::ptrdiff_t>(begin));
}

bool ComesBefore(const SortKeys& left, const SortKeys& right, const ListingQuery& query) {
  if (left.kind != right.kind) return left.kind == NodeKind::kFolder;
  const int order = CompareKeys(left, right, query.sort);
  if (order != 0) return query.descending ? order > 0 : order < 0;
  return NameComesBefore(left.name, right.name);
}

bool NameComesBefore(std::string_view left, std::string_view right) {
  const int order = CompareNames(left, right);
  return order != 0 ? order < 0 : left < right;
}

}  // namespace web
