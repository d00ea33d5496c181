#include "web/files/listing.h"

#include <locale.h>
#include <utf8cpp/utf8.h>
#include <wctype.h>

#include <algorithm>
#include <limits>

#include "base/number.h"

namespace web {

namespace {

/// An entry in little memory.  Its name is part of one text for all names.
struct PackedEntry {
  std::uint64_t size;
  time_t modified;
  std::uint32_t name_begin;
  std::uint16_t name_length;
  NodeKind kind;
};

/// The entries of a folder.
struct Entries {
  std::string names;
  std::vector<PackedEntry> packed;

  std::string_view NameOf(const PackedEntry& entry) const {
    return std::string_view(names).substr(entry.name_begin, entry.name_length);
  }
};

char LowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

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
    const auto a = static_cast<unsigned char>(LowerAscii(left.front()));
    const auto b = static_cast<unsigned char>(LowerAscii(right.front()));
    if (a != b) return a < b ? -1 : 1;
    left.remove_prefix(1);
    right.remove_prefix(1);
  }
  return static_cast<int>(!left.empty()) - static_cast<int>(!right.empty());
}

/// The characters of all languages, whatever the locale of the process.
class CaseFolder {
 public:
  CaseFolder() : locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {}
  CaseFolder(const CaseFolder&) = delete;
  CaseFolder& operator=(const CaseFolder&) = delete;
  ~CaseFolder() {
    if (locale_ != nullptr) freelocale(locale_);
  }

  /// The text in lower case.  Bytes that are not UTF-8 stay as they are.
  std::string Fold(std::string_view text) const {
    std::string folded;
    for (auto at = text.begin(); at != text.end();) {
      const auto valid_end = utf8::find_invalid(at, text.end());
      while (at != valid_end) {
        const char32_t code = utf8::unchecked::next(at);
        utf8::unchecked::append(Lower(code), std::back_inserter(folded));
      }
      if (at != text.end()) folded += *at++;
    }
    return folded;
  }

 private:
  char32_t Lower(char32_t code) const {
    if (code < 0x80)
      return static_cast<unsigned char>(LowerAscii(static_cast<char>(code)));
    return locale_ == nullptr ? code : towlower_l(code, locale_);
  }

  locale_t locale_;
};

/// Less than, equal to or greater than 0, by the key alone.
int CompareKeys(const PackedEntry& left, const PackedEntry& right, SortKey key) {
  const auto compare = [](auto a, auto b) {
    return a < b ? -1 : static_cast<int>(b < a);
  };
  switch (key) {
    case SortKey::kSize:
      return compare(left.size, right.size);
    case SortKey::kTime:
      return compare(left.modified, right.modified);
    case SortKey::kName:
      break;
  }
  return 0;
}

/// Keeps the entries of the page only.
void CutPage(size_t number, Listing* listing, std::vector<PackedEntry>* entries) {
  const size_t count = entries->size();
  listing->page_count =
      std::max<size_t>(1, (count + kEntriesOfPage - 1) / kEntriesOfPage);
  listing->page = number >= 1 && number <= listing->page_count ? number : 1;
  const size_t begin = (listing->page - 1) * kEntriesOfPage;
  const size_t end = std::min(begin + kEntriesOfPage, count);
  entries->erase(entries->begin() + static_cast<std::ptrdiff_t>(end), entries->end());
  entries->erase(entries->begin(), entries->begin() + static_cast<std::ptrdiff_t>(begin));
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

bool NameComesBefore(std::string_view left, std::string_view right) {
  const int order = CompareNames(left, right);
  return order != 0 ? order < 0 : left < right;
}

bool ReadListing(const SharedTree& tree, const Node& folder, const ListingQuery& query,
                 Listing* listing) {
  const CaseFolder folder_of_case;
  const std::string search = folder_of_case.Fold(query.search);
  Entries entries;
  Listing result;
  size_t count = 0;
  size_t name_bytes = 0;
  // Growing would need room for the old and the new names at once; what is not used of
  // this needs no memory.
  entries.names.reserve(kMaxNameBytes);
  entries.packed.reserve(kMaxEntries);

  FolderReader reader(tree, folder);
  FolderEntry entry;
  for (;;) {
    const FolderReader::Step step = reader.Next(&entry);
    if (step == FolderReader::Step::kFailed) return false;
    if (step == FolderReader::Step::kEnd) break;
    name_bytes += entry.name.size();
    if (++count > kMaxEntries || name_bytes > kMaxNameBytes) {
      result.complete = false;
      break;
    }
    if (!search.empty() &&
        folder_of_case.Fold(entry.name).find(search) == std::string::npos) {
      continue;
    }
    entries.packed.push_back({entry.info.size, entry.info.modified.tv_sec,
                              static_cast<std::uint32_t>(entries.names.size()),
                              static_cast<std::uint16_t>(entry.name.size()),
                              entry.info.kind});
    entries.names += entry.name;
    ++(entry.info.kind == NodeKind::kFolder ? result.folders : result.files);
    result.bytes += entry.info.size;
  }

  std::sort(entries.packed.begin(), entries.packed.end(),
            [&](const PackedEntry& left, const PackedEntry& right) {
              if (left.kind != right.kind) return left.kind == NodeKind::kFolder;
              int order = CompareKeys(left, right, query.sort);
              const bool by_name = query.sort == SortKey::kName;
              if (by_name)
                order = CompareNames(entries.NameOf(left), entries.NameOf(right));
              if (order != 0) return query.descending ? order > 0 : order < 0;
              return NameComesBefore(entries.NameOf(left), entries.NameOf(right));
            });
  CutPage(query.page, &result, &entries.packed);
  for (const PackedEntry& packed : entries.packed) {
    result.entries.push_back(
        {std::string(entries.NameOf(packed)), packed.kind, packed.size, packed.modified});
  }
  *listing = std::move(result);
  return true;
}

}  // namespace web
