#include "web/thumbnails/cache.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "log_capture.h"
#include "temp_dir.h"

namespace {

using testing::IsEmpty;
using testing::Not;
using web::Thumbnail;
using web::ThumbnailCache;
using State = web::Thumbnail::State;

constexpr std::uint64_t kPlenty = 64 << 20;
constexpr std::uint64_t kParts = 64;

/// A folder that the system account can write to, as whom root acts.
class Cache : public testing::Test {
 protected:
  Cache() {
    if (geteuid() == 0) {
      EXPECT_EQ(chown(Path().c_str(), 1, 1), 0);
    }
  }

  std::string Path() const { return folder_.Path("."); }

  std::vector<std::filesystem::path> Files() const {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(Path())) {
      if (entry.is_regular_file()) files.push_back(entry.path());
    }
    return files;
  }

  fakes::TempDir folder_;
  fakes::LogCapture log_;
};

TEST_F(Cache, WhatWasStored_IsFound) {
  const ThumbnailCache cache(Path(), kPlenty);
  const std::string jpeg(100000, 'x');

  EXPECT_EQ(cache.Find("key"), std::nullopt);
  cache.Store("key", {State::kMade, jpeg});
  const std::optional<Thumbnail> found = cache.Find("key");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->state, State::kMade);
  EXPECT_EQ(found->jpeg, jpeg);
  EXPECT_EQ(cache.Find("other"), std::nullopt);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Cache, ThatThereIsNone_IsFound) {
  const ThumbnailCache cache(Path(), kPlenty);

  cache.Store("key", {State::kNone, ""});
  const std::optional<Thumbnail> found = cache.Find("key");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->state, State::kNone);
}

TEST_F(Cache, Files_CanBeReadByTheSystemAccountOnly) {
  ThumbnailCache(Path(), kPlenty).Store("key", {State::kMade, "x"});

  ASSERT_EQ(Files().size(), 1U);
  struct stat status = {};
  ASSERT_EQ(stat(Files()[0].c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  ASSERT_EQ(stat(Files()[0].parent_path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(Cache, StoringTwice_KeepsTheFirst) {
  const ThumbnailCache cache(Path(), kPlenty);

  cache.Store("key", {State::kMade, "first"});
  cache.Store("key", {State::kMade, "second"});
  EXPECT_EQ(cache.Find("key")->jpeg, "first");
  EXPECT_EQ(Files().size(), 1U);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Cache, Size_IsBounded) {
  constexpr std::uint64_t kBound = kParts * (16 << 10);
  const ThumbnailCache cache(Path(), kBound);

  for (int i = 0; i < 1000; ++i) {
    cache.Store(std::to_string(i), {State::kMade, std::string(4096, 'x')});
  }
  EXPECT_LE(Files().size() * 4096, kBound);
  EXPECT_GT(Files().size() * 4096, kBound / 2);
}

TEST_F(Cache, FullCache_RemovesOldestFirst) {
  const ThumbnailCache cache(Path(), kParts * 4096);
  cache.Store("key", {State::kMade, "old"});
  const timespec times[] = {{1, 0}, {1, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, Files().at(0).c_str(), times, 0), 0);
  const std::filesystem::path part = Files().at(0).parent_path();

  int number = 0;
  while (std::filesystem::exists(part / "key") && number < 10000) {
    cache.Store(std::to_string(++number), {State::kMade, "new"});
  }
  EXPECT_TRUE(std::filesystem::exists(part / std::to_string(number)));
}

TEST_F(Cache, EmptyFiles_CountAsWell) {
  const ThumbnailCache cache(Path(), kParts * 4096);
  for (int i = 0; i < 1000; ++i) cache.Store(std::to_string(i), {State::kNone, ""});
  EXPECT_LE(Files().size(), kParts);
}

TEST_F(Cache, FileThatCannotBeWrittenWhole_DoesNotAppear) {
  const ThumbnailCache cache(Path(), kPlenty);
  const pid_t child = fork();
  if (child == 0) {
    const rlimit limit = {1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    signal(SIGXFSZ, SIG_IGN);
    cache.Store("key", {State::kMade, std::string(4096, 'x')});
    _exit(0);
  }
  waitpid(child, nullptr, 0);

  EXPECT_EQ(cache.Find("key"), std::nullopt);
  EXPECT_THAT(Files(), IsEmpty());
}

TEST_F(Cache, FolderThatIsMissing_HasAndKeepsNothing) {
  const ThumbnailCache cache(folder_.Path("none"), kPlenty);

  cache.Store("key", {State::kMade, "x"});
  EXPECT_EQ(cache.Find("key"), std::nullopt);
  EXPECT_THAT(log_.lines(), Not(IsEmpty()));
}

TEST_F(Cache, WhatCannotBeAThumbnail_IsNotFound) {
  const ThumbnailCache cache(Path(), kPlenty);
  cache.Store("key", {State::kMade, "x"});
  const std::filesystem::path path = Files().at(0);

  std::filesystem::resize_file(path, web::kLongestThumbnail + 1);
  EXPECT_EQ(cache.Find("key"), std::nullopt);
  std::filesystem::remove(path);
  std::filesystem::create_symlink("/etc/passwd", path);
  EXPECT_EQ(cache.Find("key"), std::nullopt);
  std::filesystem::remove(path);
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(cache.Find("key"), std::nullopt);
}

}  // namespace
