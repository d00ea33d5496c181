#include "web/files/shared_tree.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstring>
#include <thread>

#include "support.h"
#include "temp_dir.h"

using files_test::NodeAt;
using files_test::Self;
using files_test::Tree;
using testing::UnorderedElementsAre;
using VEXO::base::UniqueFd;
using web::FolderEntry;
using web::FolderReader;
using web::Node;
using web::NodeKind;
using web::OpenResult;
using web::SharedTree;

namespace {

OpenResult OpenShare(const std::string& path) {
  std::unique_ptr<SharedTree> tree;
  const OpenResult result = SharedTree::Open({path, false}, Self(), &tree);
  EXPECT_EQ(tree != nullptr, result == OpenResult::kOpened);
  return result;
}

std::string ContentOf(const Node& node) {
  char text[256];
  const ssize_t length = pread(node.fd.get(), text, sizeof(text), 0);
  return length == -1 ? strerror(errno) : std::string(text, length);
}

/// What a visitor gets: the content of a file, "folder", "absent" or "failed".
std::string Get(const SharedTree& tree, const std::string& path) {
  Node node;
  switch (tree.OpenNode(path, &node)) {
    case OpenResult::kOpened:
      return node.info.kind == NodeKind::kFolder ? "folder" : ContentOf(node);
    case OpenResult::kAbsent:
      return "absent";
    case OpenResult::kFailed:
      break;
  }
  return "failed";
}

std::vector<std::string> NamesIn(const SharedTree& tree, const std::string& path = "") {
  const Node folder = NodeAt(tree, path);
  FolderReader reader(tree, folder);
  FolderEntry entry;
  std::vector<std::string> names;
  for (;;) {
    const FolderReader::Step step = reader.Next(&entry);
    if (step != FolderReader::Step::kEntry) {
      EXPECT_EQ(step, FolderReader::Step::kEnd);
      return names;
    }
    names.push_back(entry.name);
  }
}

void MakeFolder(const std::string& path) { ASSERT_EQ(mkdir(path.c_str(), 0755), 0); }

void MakeLink(const std::string& target, const std::string& path) {
  ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0);
}

/// A shared folder with things beside it that are not shared.
class SharedFolder : public testing::Test {
 protected:
  SharedFolder() {
    MakeFolder(dir_.Path("share"));
    MakeFolder(dir_.Path("share/sub"));
    MakeFolder(dir_.Path("share/sub/deep"));
    MakeFolder(dir_.Path("share-private"));
    MakeFolder(dir_.Path("outside"));
    dir_.Write("share/file", "shared");
    dir_.Write("share/sub/file", "below");
    dir_.Write("share-private/file", "secret");
    dir_.Write("outside/file", "secret");
    dir_.Write("secret", "secret");
  }

  std::string Share() const { return dir_.Path("share"); }
  std::string In(const std::string& path) const { return dir_.Path("share/" + path); }

  fakes::TempDir dir_;
};

}  // namespace

TEST_F(SharedFolder, FilesAndFoldersInIt_AreOpened) {
  const auto tree = Tree(Share());

  EXPECT_EQ(tree->name(), "share");
  EXPECT_EQ(tree->root().info.kind, NodeKind::kFolder);
  EXPECT_EQ(Get(*tree, ""), "folder");
  EXPECT_EQ(Get(*tree, "file"), "shared");
  EXPECT_EQ(Get(*tree, "sub"), "folder");
  EXPECT_EQ(Get(*tree, "sub/"), "folder");
  EXPECT_EQ(Get(*tree, "sub/file"), "below");
  EXPECT_EQ(Get(*tree, "sub/deep"), "folder");
}

TEST_F(SharedFolder, Node_HasPathSizeAndTimes) {
  const auto tree = Tree(Share());
  const Node node = NodeAt(*tree, "sub/file");
  struct stat status = {};
  ASSERT_EQ(stat(In("sub/file").c_str(), &status), 0);

  EXPECT_EQ(node.path, "sub/file");
  EXPECT_EQ(node.info.size, 5U);
  EXPECT_EQ(node.info.inode, status.st_ino);
  EXPECT_EQ(node.info.device, status.st_dev);
  EXPECT_EQ(node.info.modified.tv_nsec, status.st_mtim.tv_nsec);
  EXPECT_EQ(node.info.changed.tv_sec, status.st_ctim.tv_sec);
  EXPECT_EQ(NodeAt(*tree, "sub/").path, "sub");
  EXPECT_EQ(fcntl(node.fd.get(), F_GETFD), FD_CLOEXEC);
}

TEST_F(SharedFolder, FileAsAFolder_IsAbsent) {
  const auto tree = Tree(Share());

  EXPECT_EQ(Get(*tree, "file/"), "absent");
  EXPECT_EQ(Get(*tree, "file/x"), "absent");
  EXPECT_EQ(Get(*tree, "missing"), "absent");
  EXPECT_EQ(Get(*tree, "missing/file"), "absent");
}

TEST_F(SharedFolder, PathsThatLeaveIt_LeadNowhere) {
  const auto tree = Tree(Share());
  for (const std::string& path : {std::string(".."),
                                  std::string("../secret"),
                                  std::string("../share/file"),
                                  std::string("sub/../file"),
                                  std::string("sub/../../secret"),
                                  std::string("sub/.."),
                                  std::string("."),
                                  std::string("./file"),
                                  std::string("sub/."),
                                  std::string("/"),
                                  std::string("//"),
                                  std::string("/file"),
                                  dir_.Path("secret"),
                                  std::string("sub//file"),
                                  std::string("file//"),
                                  std::string("../share-private/file"),
                                  std::string("-private/file"),
                                  std::string("..\\secret"),
                                  std::string("..%2fsecret"),
                                  std::string("%2e%2e/secret"),
                                  std::string("\xC0\xAE\xC0\xAE/secret"),
                                  std::string("..\xC0\xAFsecret"),
                                  std::string("file\0", 5),
                                  std::string("file\0.png", 9),
                                  std::string("\0", 1)}) {
    EXPECT_EQ(Get(*tree, path), "absent") << path;
  }
}

TEST_F(SharedFolder, LinksWithinIt_AreFollowed) {
  MakeLink("file", In("link"));
  MakeLink("sub", In("link-to-folder"));
  MakeLink("../file", In("sub/up"));
  MakeLink("../../sub/up", In("sub/deep/twice"));
  const auto tree = Tree(Share());

  EXPECT_EQ(Get(*tree, "link"), "shared");
  EXPECT_EQ(Get(*tree, "link-to-folder"), "folder");
  EXPECT_EQ(Get(*tree, "link-to-folder/file"), "below");
  EXPECT_EQ(Get(*tree, "sub/up"), "shared");
  EXPECT_EQ(Get(*tree, "link-to-folder/up"), "shared");
  EXPECT_EQ(Get(*tree, "sub/deep/twice"), "shared");
}

TEST_F(SharedFolder, LinksThatLeadOut_AreAbsent) {
  MakeLink("../secret", In("up"));
  MakeLink("../../secret", In("sub/up"));
  MakeLink(dir_.Path("secret"), In("absolute"));
  MakeLink(In("file"), In("absolute-within"));
  MakeLink("../outside", In("folder"));
  MakeLink("../share/file", In("out-and-in"));
  MakeLink("/", In("root"));
  MakeLink("missing", In("broken"));
  MakeLink("loop", In("loop"));
  const auto tree = Tree(Share());

  for (const char* const path :
       {"up", "sub/up", "absolute", "absolute-within", "folder", "folder/file",
        "out-and-in", "root", "root/etc", "broken", "loop"}) {
    EXPECT_EQ(Get(*tree, path), "absent") << path;
  }
  EXPECT_THAT(NamesIn(*tree), UnorderedElementsAre("file", "sub"));
}

TEST_F(SharedFolder, MagicLinks_AreAbsent) {
  const UniqueFd secret(open(dir_.Path("secret").c_str(), O_RDONLY));
  ASSERT_TRUE(secret);
  MakeLink("/proc/self/fd/" + std::to_string(secret.get()), In("magic"));
  const auto tree = Tree(Share());

  EXPECT_EQ(Get(*tree, "magic"), "absent");
  EXPECT_EQ(OpenShare("/proc/self/fd/" + std::to_string(secret.get())),
            OpenResult::kAbsent);
}

TEST_F(SharedFolder, HiddenNames_AreAbsentUnlessAskedFor) {
  dir_.Write("share/.hidden", "hidden");
  MakeFolder(In(".git"));
  dir_.Write("share/.git/config", "hidden");
  const auto without = Tree(Share());
  const auto with = Tree(Share(), true);

  EXPECT_EQ(Get(*without, ".hidden"), "absent");
  EXPECT_EQ(Get(*without, ".git"), "absent");
  EXPECT_EQ(Get(*without, ".git/config"), "absent");
  EXPECT_THAT(NamesIn(*without), UnorderedElementsAre("file", "sub"));
  EXPECT_EQ(Get(*with, ".hidden"), "hidden");
  EXPECT_EQ(Get(*with, ".git/config"), "hidden");
  EXPECT_EQ(Get(*with, ".."), "absent");
  EXPECT_EQ(Get(*with, "."), "absent");
  EXPECT_THAT(NamesIn(*with), UnorderedElementsAre("file", "sub", ".hidden", ".git"));
}

TEST_F(SharedFolder, NamesOfAnyBytes_AreReachable) {
  for (const char* const name :
       {"a\\b", "caf\xE9", "a\nb", "%2e%2e", "a...", "a:b", " "}) {
    dir_.Write(std::string("share/") + name, "odd");
    EXPECT_EQ(Get(*Tree(Share()), name), "odd") << name;
  }
}

TEST_F(SharedFolder, FifosAndSockets_AreAbsent) {
  ASSERT_EQ(mkfifo(In("fifo").c_str(), 0666), 0);
  const UniqueFd server(socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  strncpy(address.sun_path, In("socket").c_str(), sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(server.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)),
            0);
  MakeLink("fifo", In("link"));
  const auto tree = Tree(Share());

  EXPECT_EQ(Get(*tree, "fifo"), "absent");
  EXPECT_EQ(Get(*tree, "socket"), "absent");
  EXPECT_EQ(Get(*tree, "link"), "absent");
  EXPECT_THAT(NamesIn(*tree), UnorderedElementsAre("file", "sub"));
  EXPECT_EQ(OpenShare(In("fifo")), OpenResult::kAbsent);
}

TEST_F(SharedFolder, Fifo_IsNotEvenOpened) {
  ASSERT_EQ(mkfifo(In("fifo").c_str(), 0666), 0);
  const auto tree = Tree(Share());
  std::atomic<bool> done = false;
  std::atomic<int> readers_seen = 0;
  // A FIFO can be opened for writing without waiting only while somebody has it open for
  // reading.
  std::thread watcher([&] {
    while (!done) {
      const UniqueFd writer(open(In("fifo").c_str(), O_WRONLY | O_NONBLOCK));
      if (writer) ++readers_seen;
    }
  });
  for (int i = 0; i < 20'000; ++i) Get(*tree, "fifo");
  done = true;
  watcher.join();

  EXPECT_EQ(readers_seen, 0);
}

// Without O_NONBLOCK the kernel would let the visitor wait until the holder of the lease
// gives it back.
TEST_F(SharedFolder, FileThatSomebodyHasALeaseOn_KeepsNobodyWaiting) {
  signal(SIGIO, SIG_IGN);  // asks the holder to give the lease back
  const UniqueFd holder(open(In("file").c_str(), O_WRONLY));
  ASSERT_EQ(fcntl(holder.get(), F_SETLEASE, F_WRLCK), 0) << strerror(errno);

  EXPECT_EQ(Get(*Tree(Share()), "file"), "failed");
  EXPECT_EQ(fcntl(holder.get(), F_SETLEASE, F_UNLCK), 0);
  EXPECT_EQ(Get(*Tree(Share()), "file"), "shared");
}

TEST_F(SharedFolder, WhatIsNeverShared_IsAbsent) {
  EXPECT_EQ(OpenShare("/proc/self/environ"), OpenResult::kAbsent);
  EXPECT_EQ(OpenShare("/proc"), OpenResult::kAbsent);
  EXPECT_EQ(OpenShare("/sys"), OpenResult::kAbsent);
  EXPECT_EQ(OpenShare("/dev/null"), OpenResult::kAbsent);
  EXPECT_EQ(OpenShare("/"), OpenResult::kAbsent);
  MakeLink("/proc", In("kernel"));
  EXPECT_EQ(OpenShare(In("kernel")), OpenResult::kAbsent);
}

TEST_F(SharedFolder, Depth_IsBounded) {
  std::string path;
  for (int depth = 1; depth <= 65; ++depth) {
    path = web::JoinPath(path, "d");
    MakeFolder(In(path));
  }
  const auto tree = Tree(Share());

  EXPECT_EQ(Get(*tree, path.substr(2)), "folder");
  EXPECT_EQ(Get(*tree, path), "absent");
}

TEST_F(SharedFolder, LongNames_AreAbsent) {
  const auto tree = Tree(Share());

  EXPECT_EQ(Get(*tree, std::string(256, 'a')), "absent");
  EXPECT_EQ(Get(*tree, std::string(100'000, 'a')), "absent");
}

TEST_F(SharedFolder, RenamedWhileItIsOpen_IsStillServed) {
  const auto tree = Tree(Share());
  ASSERT_EQ(rename(Share().c_str(), dir_.Path("moved").c_str()), 0);

  EXPECT_EQ(Get(*tree, "file"), "shared");
  EXPECT_EQ(Get(*tree, "../secret"), "absent");
}

// The folder below is moved out of the share and back while a link leads through it.
TEST_F(SharedFolder, FoldersMovedMeanwhile_NeverLeadOut) {
  MakeLink("../../file", In("sub/deep/up"));
  MakeFolder(dir_.Path("outside/a"));
  dir_.Write("file", "secret");  // where the link leads from outside/deep
  const auto tree = Tree(Share());
  std::atomic<bool> done = false;
  std::thread mover([&] {
    const std::string inside = In("sub/deep");
    const std::string outside = dir_.Path("outside/deep");
    while (!done) {
      rename(inside.c_str(), outside.c_str());
      rename(outside.c_str(), inside.c_str());
    }
  });
  int found = 0;
  for (int i = 0; i < 20'000; ++i) {
    const std::string got = Get(*tree, "sub/deep/up");
    EXPECT_TRUE(got == "shared" || got == "absent") << got;
    if (got == "shared") ++found;
  }
  done = true;
  mover.join();

  EXPECT_GT(found, 0);
}

TEST_F(SharedFolder, SharedFile_HasNoNeighbours) {
  const auto tree = Tree(In("file"));

  EXPECT_EQ(tree->name(), "file");
  EXPECT_EQ(tree->root().info.kind, NodeKind::kFile);
  EXPECT_EQ(Get(*tree, ""), "shared");
  for (const char* const path : {"file", "sub", "sub/file", "../file", "..", ".", "/"}) {
    EXPECT_EQ(Get(*tree, path), "absent") << path;
  }
}

TEST_F(SharedFolder, ShareThatIsGone_IsAbsent) {
  EXPECT_EQ(OpenShare(dir_.Path("missing")), OpenResult::kAbsent);
  EXPECT_EQ(OpenShare(In("file/x")), OpenResult::kAbsent);
  MakeLink("missing", dir_.Path("broken"));
  EXPECT_EQ(OpenShare(dir_.Path("broken")), OpenResult::kAbsent);
}

TEST_F(SharedFolder, NoDescriptorLeft_IsAFailure) {
  const auto tree = Tree(Share());
  std::vector<UniqueFd> all;
  for (UniqueFd fd(dup(0)); fd; fd = UniqueFd(dup(0))) all.push_back(std::move(fd));

  EXPECT_EQ(OpenShare(Share()), OpenResult::kFailed);
  EXPECT_EQ(Get(*tree, "file"), "failed");
  EXPECT_EQ(Get(*tree, ""), "failed");
  FolderReader reader(*tree, tree->root());
  FolderEntry entry;
  EXPECT_EQ(reader.Next(&entry), FolderReader::Step::kFailed);
  EXPECT_EQ(errno, EMFILE);
}

TEST_F(SharedFolder, Entries_DescribeWhatTheyAre) {
  MakeLink("sub", In("link"));
  const auto tree = Tree(Share());
  FolderReader reader(*tree, tree->root());
  FolderEntry entry;
  int links = 0;
  while (reader.Next(&entry) == FolderReader::Step::kEntry) {
    EXPECT_EQ(entry.info.kind,
              entry.name == "file" ? NodeKind::kFile : NodeKind::kFolder);
    EXPECT_EQ(entry.link, entry.name == "link");
    EXPECT_EQ(entry.info.size, entry.name == "file" ? 6U : 0U);
    if (entry.link) ++links;
  }

  EXPECT_EQ(links, 1);
}

TEST_F(SharedFolder, FolderReadTwice_BeginsAgain) {
  const auto tree = Tree(Share());
  const Node folder = NodeAt(*tree, "sub");

  for (int i = 0; i < 2; ++i) {
    FolderReader reader(*tree, folder);
    FolderEntry entry;
    EXPECT_EQ(reader.Next(&entry), FolderReader::Step::kEntry);
  }
}
