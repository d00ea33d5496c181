#include "web/files/listing.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

#include "support.h"
#include "temp_dir.h"

using files_test::NodeAt;
using files_test::Tree;
using testing::ElementsAre;
using testing::IsEmpty;
using web::Listing;
using web::ListingQuery;
using web::NodeKind;
using web::ParseListingQuery;
using web::SortKey;

namespace {

Listing Read(const std::string& path, const ListingQuery& query) {
  const auto tree = Tree(path);
  Listing listing;
  EXPECT_TRUE(web::ReadListing(*tree, tree->root(), query, &listing));
  return listing;
}

std::vector<std::string> NamesOf(const Listing& listing) {
  std::vector<std::string> names;
  for (const web::ListingEntry& entry : listing.entries) names.push_back(entry.name);
  return names;
}

std::vector<std::string> Names(const std::string& path, const std::string& sort = "",
                               const std::string& order = "",
                               const std::string& search = "") {
  return NamesOf(Read(path, ParseListingQuery(sort, order, "", search)));
}

void MakeFolder(const std::string& path) { ASSERT_EQ(mkdir(path.c_str(), 0755), 0); }

void SetTime(const std::string& path, time_t modified) {
  const timespec times[] = {{0, UTIME_OMIT}, {modified, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

/// A folder whose entries are in another order by each key.
class SortedFolder : public testing::Test {
 protected:
  SortedFolder() {
    MakeFolder(dir_.Path("new"));
    MakeFolder(dir_.Path("Old"));
    Add("b10", "1", 300);
    Add("B2", "333", 200);
    Add("a", "22", 400);
    Add("c", "22", 200);
    SetTime(dir_.Path("new"), 900);
    SetTime(dir_.Path("Old"), 100);
  }

  std::string Path() const { return dir_.Path(""); }

 private:
  void Add(const std::string& name, const std::string& text, time_t modified) {
    SetTime(dir_.Write(name, text), modified);
  }

  fakes::TempDir dir_;
};

}  // namespace

TEST_F(SortedFolder, ByName_FoldersComeFirst) {
  EXPECT_THAT(Names(Path()), ElementsAre("new", "Old", "a", "B2", "b10", "c"));
  EXPECT_THAT(Names(Path(), "name", "desc"),
              ElementsAre("Old", "new", "c", "b10", "B2", "a"));
}

TEST_F(SortedFolder, BySize_EqualOnesAndFoldersFollowByName) {
  EXPECT_THAT(Names(Path(), "size"), ElementsAre("new", "Old", "b10", "a", "c", "B2"));
  EXPECT_THAT(Names(Path(), "size", "desc"),
              ElementsAre("new", "Old", "B2", "a", "c", "b10"));
}

TEST_F(SortedFolder, ByTime_EqualOnesFollowByName) {
  EXPECT_THAT(Names(Path(), "time"), ElementsAre("Old", "new", "B2", "c", "b10", "a"));
  EXPECT_THAT(Names(Path(), "time", "desc"),
              ElementsAre("new", "Old", "a", "b10", "B2", "c"));
}

TEST_F(SortedFolder, Entries_HaveTheirProperties) {
  const Listing listing = Read(Path(), ListingQuery());

  EXPECT_EQ(listing.entries[0].kind, NodeKind::kFolder);
  EXPECT_EQ(listing.entries[0].size, 0U);
  EXPECT_EQ(listing.entries[0].modified, 900);
  EXPECT_EQ(listing.entries[3].kind, NodeKind::kFile);
  EXPECT_EQ(listing.entries[3].size, 3U);
  EXPECT_EQ(listing.entries[3].modified, 200);
}

TEST_F(SortedFolder, Totals_AreThoseOfTheWholeFolder) {
  const Listing listing = Read(Path(), ListingQuery());

  EXPECT_EQ(listing.folders, 2U);
  EXPECT_EQ(listing.files, 4U);
  EXPECT_EQ(listing.bytes, 8U);
  EXPECT_TRUE(listing.complete);
}

TEST_F(SortedFolder, Search_FindsPartsOfNamesInAnyCase) {
  EXPECT_THAT(Names(Path(), "", "", "B"), ElementsAre("B2", "b10"));
  EXPECT_THAT(Names(Path(), "", "", "old"), ElementsAre("Old"));
  EXPECT_THAT(Names(Path(), "", "", "nothing"), IsEmpty());
  EXPECT_EQ(Read(Path(), ParseListingQuery("", "", "", "b")).bytes, 4U);
}

TEST(Listing, Search_IgnoresCaseInOtherLanguages) {
  const fakes::TempDir dir;
  dir.Write("\xC3\x84pfel", "");  // Äpfel
  dir.Write("\xD0\xAF.txt", "");  // Cyrillic Я
  dir.Write("caf\xE9", "");       // not UTF-8

  EXPECT_THAT(Names(dir.Path(""), "", "", "\xC3\xA4P"), ElementsAre("\xC3\x84pfel"));
  EXPECT_THAT(Names(dir.Path(""), "", "", "\xD1\x8F"), ElementsAre("\xD0\xAF.txt"));
  EXPECT_THAT(Names(dir.Path(""), "", "", "AF\xE9"), ElementsAre("caf\xE9"));
}

TEST(Listing, MoreThanOnePage_IsCutAfterSorting) {
  const fakes::TempDir dir;
  for (int i = 1; i <= 1001; ++i) dir.Write(std::to_string(i), "x");

  const Listing first = Read(dir.Path(""), ParseListingQuery("", "", "1", ""));
  EXPECT_EQ(first.entries.size(), 500U);
  EXPECT_EQ(first.entries.front().name, "1");
  EXPECT_EQ(first.entries.back().name, "500");
  EXPECT_EQ(first.page_count, 3U);
  EXPECT_EQ(first.files, 1001U);
  EXPECT_EQ(first.bytes, 1001U);

  const Listing second = Read(dir.Path(""), ParseListingQuery("name", "desc", "2", ""));
  EXPECT_EQ(second.entries.front().name, "501");
  EXPECT_EQ(second.page, 2U);

  const Listing last = Read(dir.Path(""), ParseListingQuery("", "", "3", ""));
  EXPECT_THAT(NamesOf(last), ElementsAre("1001"));
}

TEST(Listing, PageThatDoesNotExist_IsTheFirst) {
  const fakes::TempDir dir;
  for (int i = 1; i <= 501; ++i) dir.Write(std::to_string(i), "");

  for (const char* const page :
       {"", "0", "3", "-1", "x", "1x", "99999999999999999999999"}) {
    const Listing listing = Read(dir.Path(""), ParseListingQuery("", "", page, ""));
    EXPECT_EQ(listing.page, 1U) << page;
    EXPECT_EQ(listing.entries.front().name, "1") << page;
  }
}

TEST(Listing, EmptyFolder_HasOnePageWithNothing) {
  const fakes::TempDir dir;
  const Listing listing = Read(dir.Path(""), ListingQuery());

  EXPECT_THAT(listing.entries, IsEmpty());
  EXPECT_EQ(listing.page, 1U);
  EXPECT_EQ(listing.page_count, 1U);
}

TEST(Listing, FolderThatCannotBeRead_FailsAndChangesNothing) {
  const fakes::TempDir dir;
  const auto tree = Tree(dir.Path(""));
  Listing listing;
  listing.files = 7;

  EXPECT_FALSE(web::ReadListing(*tree, web::Node(), ListingQuery(), &listing));
  EXPECT_EQ(listing.files, 7U);
}

TEST(ParseListingQuery, Nonsense_MeansTheDefault) {
  const ListingQuery query = ParseListingQuery("SIZE", "down", "two", "text");

  EXPECT_EQ(query.sort, SortKey::kName);
  EXPECT_FALSE(query.descending);
  EXPECT_EQ(query.page, 1U);
  EXPECT_EQ(query.search, "text");
}

TEST(NameComesBefore, Names_AreComparedAsPeopleDo) {
  const char* const sorted[] = {"",
                                "a",
                                "A1",
                                "a1b",
                                "a01c",
                                "a2",
                                "a10",
                                "a010x",
                                "a99999999999999999999",
                                "a100000000000000000000",
                                "ab",
                                "B",
                                "b",
                                "z",
                                "\xC3\x84"};
  for (size_t left = 0; left < std::size(sorted); ++left) {
    for (size_t right = 0; right < std::size(sorted); ++right) {
      EXPECT_EQ(web::NameComesBefore(sorted[left], sorted[right]), left < right)
          << sorted[left] << " " << sorted[right];
    }
  }
}

TEST(Listing, SearchBelowWithoutTime_IsIncomplete) {
  const fakes::TempDir dir;
  MakeFolder(dir.Path("sub"));
  dir.Write("sub/file", "");
  ListingQuery query = ParseListingQuery("", "", "", "file");
  query.below = true;
  EXPECT_TRUE(Read(dir.Path(""), query).complete);

  query.timeout = query.timeout.zero();
  EXPECT_FALSE(Read(dir.Path(""), query).complete);
}
