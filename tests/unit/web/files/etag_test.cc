#include "web/files/etag.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>

#include "support.h"
#include "temp_dir.h"

using files_test::NodeAt;
using files_test::Tree;
using testing::MatchesRegex;
using web::EntityTag;
using web::NodeInfo;

namespace {

NodeInfo Example() {
  NodeInfo file;
  file.device = 1;
  file.inode = 2;
  file.size = 3;
  file.modified = {4, 5};
  file.changed = {6, 7};
  return file;
}

}  // namespace

TEST(EntityTag, Tag_IsStrongAndQuoted) {
  EXPECT_THAT(EntityTag(Example()), MatchesRegex("\"[0-9a-f.-]+\""));
  EXPECT_EQ(EntityTag(Example()), EntityTag(Example()));
}

TEST(EntityTag, EachProperty_ChangesIt) {
  const std::string before = EntityTag(Example());
  for (const auto change :
       {+[](NodeInfo* file) { ++file->device; }, +[](NodeInfo* file) { ++file->inode; },
        +[](NodeInfo* file) { ++file->size; },
        +[](NodeInfo* file) { ++file->modified.tv_sec; },
        +[](NodeInfo* file) { ++file->modified.tv_nsec; },
        +[](NodeInfo* file) { ++file->changed.tv_sec; },
        +[](NodeInfo* file) { ++file->changed.tv_nsec; }}) {
    NodeInfo file = Example();
    change(&file);
    EXPECT_NE(EntityTag(file), before);
  }
}

// The time of last modification can be set; that of the last change cannot.
TEST(EntityTag, OtherContentWithTheSameSizeAndTime_ChangesIt) {
  const fakes::TempDir dir;
  const timespec times[] = {{0, UTIME_OMIT}, {1'000'000'000, 0}};
  const auto tag_of = [&](const std::string& text) {
    const std::string path = dir.Write("file", text);
    EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    return EntityTag(NodeAt(*Tree(path), "").info);
  };

  const std::string before = tag_of("one");
  std::string after = before;
  // The kernel's clock moves every few milliseconds.
  for (int attempt = 0; attempt < 1'000'000 && after == before; ++attempt) {
    after = tag_of("two");
  }
  EXPECT_NE(after, before);
}

TEST(LastModified, TimeAhead_IsNow) {
  NodeInfo file = Example();
  file.modified.tv_sec = 1000;
  EXPECT_EQ(web::LastModified(file, 2000), 1000);
  EXPECT_EQ(web::LastModified(file, 500), 500);
}
