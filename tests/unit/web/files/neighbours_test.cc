#include "web/files/neighbours.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support.h"
#include "temp_dir.h"

using files_test::NodeAt;
using files_test::Tree;
using testing::Pair;

namespace {

/// Names of the pictures before and after one of the folder.
class NeighboursTest : public testing::Test {
 protected:
  void Add(const std::string& name, const std::string& content, time_t modified) {
    const timespec times[] = {{0, UTIME_OMIT}, {modified, 0}};
    const std::string path = dir_.Write(name, content);
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }

  std::pair<std::string, std::string> Around(const std::string& name,
                                             const std::string& sort = "",
                                             const std::string& order = "",
                                             bool hidden = false) {
    const auto tree = Tree(dir_.Path(""), hidden);
    const web::Node file = NodeAt(*tree, name);
    const web::ListingEntry entry = {name, file.info.kind, file.info.size,
                                     file.info.modified.tv_sec};
    const auto query = web::ParseListingQuery(sort, order, "", "");
    const web::Neighbours found =
        web::FindNeighbours(*tree, NodeAt(*tree, ""), query, entry);
    return {found.previous, found.next};
  }

  fakes::TempDir dir_;
};

TEST_F(NeighboursTest, Order_IsThatOfTheListing) {
  Add("p10.jpg", "x", 30);
  Add("P9.png", "xxx", 20);
  Add("p1.webp", "xx", 40);
  Add("p2.gif", "xx", 40);

  EXPECT_THAT(Around("p1.webp"), Pair("", "p2.gif"));
  EXPECT_THAT(Around("p2.gif"), Pair("p1.webp", "P9.png"));
  EXPECT_THAT(Around("P9.png"), Pair("p2.gif", "p10.jpg"));
  EXPECT_THAT(Around("p10.jpg"), Pair("P9.png", ""));
  EXPECT_THAT(Around("P9.png", "name", "desc"), Pair("p10.jpg", "p2.gif"));
  EXPECT_THAT(Around("p2.gif", "size"), Pair("p1.webp", "P9.png"));
  EXPECT_THAT(Around("p1.webp", "size", "desc"), Pair("P9.png", "p2.gif"));
  EXPECT_THAT(Around("p10.jpg", "time"), Pair("P9.png", "p1.webp"));
}

TEST_F(NeighboursTest, WhatIsNoPicture_IsPassedOver) {
  Add("a.jpg", "x", 1);
  Add("b.txt", "x", 1);
  Add("c.mp4", "x", 1);
  ASSERT_EQ(mkdir(dir_.Path("d.jpg").c_str(), 0755), 0);
  Add("e.svg", "x", 1);
  Add("f.jpg", "x", 1);

  EXPECT_THAT(Around("a.jpg"), Pair("", "f.jpg"));
}

TEST_F(NeighboursTest, HiddenPictures_AreThereWhenTheyAreShown) {
  Add(".a.jpg", "x", 1);
  Add("b.jpg", "x", 1);

  EXPECT_THAT(Around("b.jpg"), Pair("", ""));
  EXPECT_THAT(Around("b.jpg", "", "", true), Pair(".a.jpg", ""));
}

TEST_F(NeighboursTest, LinkThatLeadsOut_IsPassedOver) {
  Add("a.jpg", "x", 1);
  ASSERT_EQ(symlink("/etc/passwd", dir_.Path("b.jpg").c_str()), 0);
  ASSERT_EQ(symlink("a.jpg", dir_.Path("c.jpg").c_str()), 0);

  EXPECT_THAT(Around("a.jpg"), Pair("", "c.jpg"));
}

}  // namespace
