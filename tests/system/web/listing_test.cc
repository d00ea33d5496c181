#include "web/files/listing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "system_test.h"

using system_test::WriteFile;
using web::Listing;
using web::Owner;
using web::SharedTree;

namespace {

const char kFolder[] = "/tmp/folder/";

/// Reads the folder as root.
Listing Read(const web::ListingQuery& query = web::ListingQuery()) {
  std::unique_ptr<SharedTree> tree;
  Listing listing;
  EXPECT_EQ(SharedTree::Open({kFolder, false}, Owner(), &tree), web::OpenResult::kOpened);
  EXPECT_TRUE(web::ReadListing(*tree, tree->root(), query, &listing));
  return listing;
}

class LargeFolder : public testing::Test {
 protected:
  LargeFolder() { EXPECT_EQ(mkdir(kFolder, 0755), 0); }
};

}  // namespace

TEST_F(LargeFolder, MoreEntriesThanAreRead_IsIncomplete) {
  for (int i = 0; i < 100'000; ++i) WriteFile(kFolder + std::to_string(i), "");
  EXPECT_TRUE(Read().complete);

  WriteFile(std::string(kFolder) + "one more", "");
  const Listing listing = Read();
  EXPECT_FALSE(listing.complete);
  EXPECT_EQ(listing.files, web::kMaxEntries);
  EXPECT_EQ(listing.page_count, 200U);
}

TEST_F(LargeFolder, LongerNamesThanAreRead_IsIncomplete) {
  constexpr size_t kLength = 250;
  for (size_t i = 0; i <= web::kMaxNameBytes / kLength; ++i) {
    const std::string number = std::to_string(i);
    WriteFile(kFolder + number + std::string(kLength - number.size(), 'x'), "");
  }
  const Listing listing = Read();

  EXPECT_FALSE(listing.complete);
  EXPECT_EQ(listing.files, web::kMaxNameBytes / kLength);
}

TEST_F(LargeFolder, SearchBelowInMoreEntriesThanAreRead_IsIncomplete) {
  constexpr int kFolders = 100;
  constexpr int kFiles = 999;  // with their folders, as many as are read
  for (int folder = 0; folder < kFolders; ++folder) {
    const std::string path = kFolder + std::to_string(folder);
    EXPECT_EQ(mkdir(path.c_str(), 0755), 0);
    for (int i = 0; i < kFiles; ++i) WriteFile(path + "/file" + std::to_string(i), "");
  }
  web::ListingQuery query;
  query.below = true;
  query.search = "file";
  query.timeout = std::chrono::hours(1);
  EXPECT_TRUE(Read(query).complete);

  WriteFile(std::string(kFolder) + "0/one more", "");
  EXPECT_FALSE(Read(query).complete);
}
