#include "web/files/new_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <vector>

#include "child_process.h"
#include "temp_dir.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using VEXO::base::UniqueFd;
using web::NewFile;

class NewFileTest : public testing::Test {
 protected:
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(temp_.Path(""))) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  std::string Read(const std::string& name) const {
    std::ifstream file(temp_.Path(name));
    return {std::istreambuf_iterator<char>(file), {}};
  }

  fakes::TempDir temp_;
  const UniqueFd folder_{open(temp_.Path("").c_str(), O_RDONLY | O_DIRECTORY)};
};

/// Makes the process use a file system without some abilities: creating files without a
/// name, and, where `links` is false, second names of a file.
bool RestrictFileSystem(bool links) {
  std::vector<sock_filter> program = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_linkat, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, links ? SECCOMP_RET_ALLOW : SECCOMP_RET_ERRNO | EPERM),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
      BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, O_TMPFILE & ~O_DIRECTORY, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EOPNOTSUPP),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog filter = {static_cast<std::uint16_t>(program.size()), program.data()};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

TEST_F(NewFileTest, File_IsNotInTheFolderBeforeItIsNamed) {
  const auto file = NewFile::Create(folder_.get());
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(file->Write("one "));
  EXPECT_TRUE(file->Write("two"));
  EXPECT_THAT(Names(), IsEmpty());

  EXPECT_TRUE(file->GiveName("a.txt"));
  EXPECT_THAT(Names(), ElementsAre("a.txt"));
  EXPECT_EQ(Read("a.txt"), "one two");
}

TEST_F(NewFileTest, FileWithoutAName_GoesAway) {
  NewFile::Create(folder_.get())->Write("text");
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(NewFileTest, NameThatIsTaken_IsRefused) {
  temp_.Write("a", "mine");
  symlink("nowhere", temp_.Path("b").c_str());
  const auto file = NewFile::Create(folder_.get());
  for (const char* const name : {"a", "b"}) {
    EXPECT_FALSE(file->GiveName(name));
    EXPECT_EQ(errno, EEXIST);
  }
  EXPECT_EQ(Read("a"), "mine");
}

TEST_F(NewFileTest, TakeName_RemovesOnlyTheFileItself) {
  const auto file = NewFile::Create(folder_.get());
  ASSERT_TRUE(file->GiveName("a"));
  temp_.Write("b", "mine");
  file->RemoveName("b");
  EXPECT_THAT(Names(), ElementsAre("a", "b"));
  file->RemoveName("a");
  EXPECT_THAT(Names(), ElementsAre("b"));
}

TEST_F(NewFileTest, FolderThatCannotBeWritten_IsAFailure) {
  EXPECT_EQ(NewFile::Create(-1), nullptr);
  EXPECT_EQ(errno, EBADF);
}

class OtherFileSystem : public NewFileTest, public testing::WithParamInterface<bool> {};

TEST_P(OtherFileSystem, HiddenName_IsThereUntilTheFileIsNamed) {
  EXPECT_TRUE(fakes::EndsWell(fakes::StartChild([this] {
    temp_.Write("a", "mine");
    if (!RestrictFileSystem(GetParam())) return false;
    {
      const auto file = NewFile::Create(folder_.get());
      if (file == nullptr || !file->Write("text")) return false;
      EXPECT_THAT(Names(), ElementsAre(StartsWith(".incomplete-"), "a"));
      EXPECT_FALSE(file->GiveName("a"));
      EXPECT_EQ(errno, EEXIST);
      EXPECT_TRUE(file->GiveName("b"));
    }
    EXPECT_THAT(Names(), ElementsAre("a", "b"));
    EXPECT_EQ(Read("a") + Read("b"), "minetext");
    NewFile::Create(folder_.get());
    EXPECT_THAT(Names(), SizeIs(2));
    return !HasFailure();
  })));
}

INSTANTIATE_TEST_SUITE_P(NewFile, OtherFileSystem, testing::Bool());

}  // namespace
