#include "web/files/zip.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstdio>
#include <thread>
#include <utility>
#include <vector>

#include "support.h"
#include "temp_dir.h"

using files_test::BytesOf;
using files_test::NodeAt;
using files_test::Tree;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAre;

namespace {

const std::string kDirectoryEntry("PK\1\2", 4);
const std::string kDirectoryEnd("PK\5\6", 4);

/// What the zip of a folder sends.
struct Sent {
  std::string bytes;
  bool all = false;
};

Sent ZipOf(const web::SharedTree& tree, const std::string& path = "") {
  const auto body = web::ZipFolder(tree, NodeAt(tree, path), tree.name());
  Sent sent;
  if (body == nullptr) {
    ADD_FAILURE() << "no archive library";
    return sent;
  }
  EXPECT_EQ(body->Length(), std::nullopt);
  sent.bytes = BytesOf(*body, &sent.all);
  return sent;
}

unsigned int NumberAt(const std::string& bytes, size_t position) {
  return static_cast<unsigned char>(bytes[position]) +
         256U * static_cast<unsigned char>(bytes[position + 1]);
}

/// The names in the directory of a zip.
std::vector<std::string> NamesIn(const std::string& zip) {
  std::vector<std::string> names;
  for (size_t at = zip.find(kDirectoryEntry); at != std::string::npos;
       at = zip.find(kDirectoryEntry, at + 1)) {
    names.push_back(zip.substr(at + 46, NumberAt(zip, at + 28)));
  }
  return names;
}

void MakeFolder(const std::string& path) { ASSERT_EQ(mkdir(path.c_str(), 0755), 0); }

class ZippedFolder : public testing::Test {
 protected:
  ZippedFolder() { MakeFolder(dir_.Path("share")); }

  std::string In(const std::string& path) const { return dir_.Path("share/" + path); }
  void Write(const std::string& name, const std::string& text) {
    dir_.Write("share/" + name, text);
  }
  std::unique_ptr<web::SharedTree> Shared(bool hidden = false) const {
    return Tree(dir_.Path("share"), hidden);
  }

  fakes::TempDir dir_;
};

}  // namespace

TEST_F(ZippedFolder, FilesAndFolders_AreInItUnderTheNameOfTheFolder) {
  Write("a", "content of a");
  MakeFolder(In("empty"));
  MakeFolder(In("sub"));
  Write("sub/b", "");
  const Sent zip = ZipOf(*Shared());

  EXPECT_TRUE(zip.all);
  EXPECT_THAT(NamesIn(zip.bytes),
              UnorderedElementsAre("share/", "share/a", "share/empty/", "share/sub/",
                                   "share/sub/b"));
  EXPECT_THAT(zip.bytes, HasSubstr("content of a"));  // stored
  EXPECT_THAT(zip.bytes, HasSubstr(kDirectoryEnd));
}

TEST_F(ZippedFolder, SubFolder_IsZippedAlone) {
  Write("a", "");
  MakeFolder(In("sub"));
  Write("sub/b", "");
  const auto tree = Shared();
  auto body = web::ZipFolder(*tree, NodeAt(*tree, "sub"), "sub");

  EXPECT_THAT(NamesIn(BytesOf(*body)), UnorderedElementsAre("sub/", "sub/b"));
}

TEST_F(ZippedFolder, LinkedFoldersAndWhatIsOutside_AreLeftOut) {
  MakeFolder(In("sub"));
  Write("sub/b", "below");
  dir_.Write("secret", "secret");
  ASSERT_EQ(symlink("sub", In("folder").c_str()), 0);
  ASSERT_EQ(symlink(".", In("loop").c_str()), 0);
  ASSERT_EQ(symlink("sub/b", In("file").c_str()), 0);
  ASSERT_EQ(symlink("../secret", In("out").c_str()), 0);
  ASSERT_EQ(mkfifo(In("fifo").c_str(), 0666), 0);
  Write(".hidden", "secret");
  const Sent zip = ZipOf(*Shared());

  EXPECT_TRUE(zip.all);
  EXPECT_THAT(NamesIn(zip.bytes),
              UnorderedElementsAre("share/", "share/sub/", "share/sub/b", "share/file"));
  EXPECT_THAT(zip.bytes, Not(HasSubstr("secret")));
  EXPECT_THAT(NamesIn(ZipOf(*Shared(true)).bytes), Contains("share/.hidden"));
}

TEST_F(ZippedFolder, NamesThatCouldLeadOut_AreEncoded) {
  Write("a\\..\\evil", "");
  Write("a\nb", "");
  Write("caf\xE9", "");
  Write("caf\xC3\xA9", "");
  const Sent zip = ZipOf(*Shared());

  EXPECT_TRUE(zip.all);
  EXPECT_THAT(NamesIn(zip.bytes),
              UnorderedElementsAre("share/", "share/a%5C..%5Cevil", "share/a%0Ab",
                                   "share/caf%E9", "share/caf\xC3\xA9"));
}

TEST_F(ZippedFolder, NameOfTheFolderThatCouldLeadOut_IsEncoded) {
  Write("a", "");
  const auto tree = Shared();
  for (const auto& [name, encoded] : {std::pair("..\\x", "..%5Cx"), std::pair("..", "_"),
                                      std::pair("/etc", "%2Fetc")}) {
    auto body = web::ZipFolder(*tree, NodeAt(*tree, ""), name);
    EXPECT_THAT(
        NamesIn(BytesOf(*body)),
        UnorderedElementsAre(std::string(encoded) + "/", std::string(encoded) + "/a"));
  }
}

TEST_F(ZippedFolder, FileThatShrinksMeanwhile_FailsWithoutADirectory) {
  const size_t size = 40 * web::kPieceSize;
  Write("a", std::string(size, 'x'));
  const auto tree = Shared();
  auto body = web::ZipFolder(*tree, NodeAt(*tree, ""), "share");
  std::string bytes;
  const bool all = body->Send([&](std::string_view piece) {
    bytes += piece;
    return truncate(In("a").c_str(), size / 2) == 0;
  });

  EXPECT_FALSE(all);
  EXPECT_THAT(bytes, Not(HasSubstr(kDirectoryEntry)));
  EXPECT_THAT(bytes, Not(HasSubstr(kDirectoryEnd)));
}

TEST_F(ZippedFolder, FileThatGrowsMeanwhile_HasTheLengthOfTheBeginning) {
  Write("a", std::string(4 * web::kPieceSize, 'x'));
  const auto tree = Shared();
  auto body = web::ZipFolder(*tree, NodeAt(*tree, ""), "share");
  std::string bytes;
  EXPECT_TRUE(body->Send([&](std::string_view piece) {
    bytes += piece;
    const VEXO::base::UniqueFd file(open(In("a").c_str(), O_WRONLY | O_APPEND));
    return write(file.get(), "grown", 5) == 5;
  }));

  EXPECT_THAT(bytes, Not(HasSubstr("grown")));
  EXPECT_THAT(NamesIn(bytes), UnorderedElementsAre("share/", "share/a"));
}

TEST_F(ZippedFolder, FilesThatVanishMeanwhile_AreLeftOut) {
  for (int i = 0; i < 100; ++i)
    Write(std::to_string(i), std::string(web::kPieceSize, 'x'));
  const auto tree = Shared();
  auto body = web::ZipFolder(*tree, NodeAt(*tree, ""), "share");
  std::string bytes;
  EXPECT_TRUE(body->Send([&](std::string_view piece) {
    bytes += piece;
    for (int i = 0; i < 100; ++i) unlink(In(std::to_string(i)).c_str());
    return true;
  }));

  EXPECT_LT(NamesIn(bytes).size(), 10U);
  EXPECT_THAT(bytes, HasSubstr(kDirectoryEnd));
}

// A folder and a link to another folder change their places all the time.
TEST_F(ZippedFolder, FolderReplacedByALinkMeanwhile_IsNotEntered) {
  MakeFolder(In("sub"));
  Write("sub/b", "below");
  MakeFolder(In("empty"));
  ASSERT_EQ(symlink("sub", In("link").c_str()), 0);
  const auto tree = Shared();
  std::atomic<bool> done = false;
  std::thread mover([&] {
    while (!done) {
      renameat2(AT_FDCWD, In("empty").c_str(), AT_FDCWD, In("link").c_str(),
                RENAME_EXCHANGE);
    }
  });
  for (int i = 0; i < 1000; ++i) {
    const std::vector<std::string> names = NamesIn(ZipOf(*tree).bytes);
    EXPECT_THAT(names, Contains("share/sub/b"));
    EXPECT_THAT(names, Not(Contains(testing::AnyOf("share/empty/b", "share/link/b"))));
  }
  done = true;
  mover.join();
}

TEST_F(ZippedFolder, RefusedPiece_EndsTheZip) {
  for (int i = 0; i < 10; ++i)
    Write(std::to_string(i), std::string(web::kPieceSize, 'x'));
  const auto tree = Shared();
  auto body = web::ZipFolder(*tree, NodeAt(*tree, ""), "share");
  int pieces = 0;
  EXPECT_FALSE(body->Send([&pieces](std::string_view piece) {
    EXPECT_LE(piece.size(), web::kPieceSize);
    return ++pieces < 3;
  }));

  EXPECT_EQ(pieces, 3);
}

TEST_F(ZippedFolder, FoldersBelowTheDepthThatIsServed_FailTheZip) {
  std::string path;
  for (int depth = 1; depth <= 64; ++depth) {
    path = web::JoinPath(path, "d");
    MakeFolder(In(path));
  }
  EXPECT_TRUE(ZipOf(*Shared()).all);

  MakeFolder(In(path + "/d"));
  const Sent zip = ZipOf(*Shared());
  EXPECT_FALSE(zip.all);
  EXPECT_THAT(zip.bytes, Not(HasSubstr(kDirectoryEnd)));
}

TEST_F(ZippedFolder, PathThatCannotBeOpened_FailsTheZip) {
  const std::string name(240, 'n');
  VEXO::base::UniqueFd folder(open(In("").c_str(), O_PATH | O_DIRECTORY));
  for (size_t length = 0; length + name.size() < PATH_MAX; length += name.size() + 1) {
    ASSERT_EQ(mkdirat(folder.get(), name.c_str(), 0755), 0);
    folder =
        VEXO::base::UniqueFd(openat(folder.get(), name.c_str(), O_PATH | O_DIRECTORY));
  }
  EXPECT_TRUE(ZipOf(*Shared()).all);

  ASSERT_EQ(mkdirat(folder.get(), name.c_str(), 0755), 0);
  EXPECT_FALSE(ZipOf(*Shared()).all);
}

TEST_F(ZippedFolder, PathsThatAreTooLongTogether_FailTheZip) {
  std::string path;
  for (int depth = 1; depth <= 60; ++depth) {
    path = web::JoinPath(path, std::string(60, 'd'));
    MakeFolder(In(path));
  }
  for (int i = 0; i < 2400; ++i) Write(path + "/" + std::to_string(i), "");
  const Sent zip = ZipOf(*Shared());

  EXPECT_FALSE(zip.all);
  EXPECT_THAT(zip.bytes, Not(HasSubstr(kDirectoryEnd)));
}
