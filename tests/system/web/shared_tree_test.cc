#include "web/files/shared_tree.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/fsuid.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <functional>
#include <sstream>
#include <vector>

#include "system_test.h"
#include "web/files/owner.h"

using system_test::Account;
using system_test::InChild;
using web::FolderEntry;
using web::FolderReader;
using web::Node;
using web::NodeKind;
using web::OpenResult;
using web::Owner;
using web::OwnerLookup;
using web::SharedTree;

namespace {

constexpr uid_t kDaemon = 1;
constexpr uid_t kAlice = 5001;
constexpr uid_t kBob = 5002;
constexpr uid_t kCarol = 5003;  // expired
constexpr uid_t kDave = 5004;   // locked
constexpr gid_t kStaff = 5100;  // alice is a member
constexpr time_t kNow = 1'800'000'000;

const char kShare[] = "/tmp/share";

void MakeFolder(const std::string& path, uid_t user = kAlice, mode_t mode = 0755) {
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  ASSERT_EQ(chown(path.c_str(), user, user), 0);
  ASSERT_EQ(chmod(path.c_str(), mode), 0);
}

void MakeFile(const std::string& path, uid_t user, gid_t group, mode_t mode) {
  system_test::WriteFile(path, "content");
  ASSERT_EQ(chown(path.c_str(), user, group), 0);
  ASSERT_EQ(chmod(path.c_str(), mode), 0);
}

/// Adds an access control list that lets `user` read and search beyond what the mode
/// says.
void AddAccessList(const std::string& path, uid_t user) {
  struct Entry {
    std::uint16_t tag;
    std::uint16_t rights;
    std::uint32_t id;
  };
  constexpr std::uint32_t kNoId = 0xFFFFFFFF;
  struct {
    std::uint32_t version;
    Entry entries[5];
  } const list = {
      2,
      {{1, 7, kNoId}, {2, 5, user}, {4, 5, kNoId}, {0x10, 5, kNoId}, {0x20, 5, kNoId}}};
  ASSERT_EQ(setxattr(path.c_str(), "system.posix_acl_access", &list, sizeof(list), 0), 0);
}

std::string Get(const SharedTree& tree, const std::string& path) {
  Node node;
  switch (tree.OpenNode(path, &node)) {
    case OpenResult::kOpened:
      return node.info.kind == NodeKind::kFolder ? "folder" : "file";
    case OpenResult::kAbsent:
      return "absent";
    case OpenResult::kFailed:
      break;
  }
  return "failed";
}

std::string NamesIn(const SharedTree& tree) {
  FolderReader reader(tree, tree.root());
  FolderEntry entry;
  std::string names;
  while (reader.Next(&entry) == FolderReader::Step::kEntry) names += entry.name + " ";
  return names;
}

/// Runs `use` on a share of this owner in a process of the account.
std::string With(const Account& account, uid_t user, const std::string& share,
                 const std::function<std::string(const SharedTree&)>& use) {
  return InChild(account,
                 [&]() -> std::string {
                   Owner owner;
                   if (FindOwner(user, kNow, &owner) != OwnerLookup::kFound) {
                     return "no owner";
                   }
                   std::unique_ptr<SharedTree> tree;
                   switch (SharedTree::Open({share, false}, owner, &tree)) {
                     case OpenResult::kOpened:
                       return use(*tree);
                     case OpenResult::kAbsent:
                       return "gone";
                     case OpenResult::kFailed:
                       break;
                   }
                   return "failed";
                 })
      .text;
}

std::string Get(const Account& account, const std::string& path,
                const std::string& share = kShare) {
  return With(account, kAlice, share,
              [&path](const SharedTree& tree) { return Get(tree, path); });
}

/// What alice's share shows of a path: to a process that becomes alice, and to the system
/// account.
std::string Both(const std::string& path, const std::string& share = kShare) {
  return Get(system_test::Root(), path, share) + " " +
         Get(system_test::System(), path, share);
}

/// All ids that decide about files, and the groups.
std::string Ids() {
  uid_t users[3] = {};
  gid_t groups[3] = {};
  getresuid(&users[0], &users[1], &users[2]);
  getresgid(&groups[0], &groups[1], &groups[2]);
  std::vector<gid_t> others(getgroups(0, nullptr));
  if (getgroups(static_cast<int>(others.size()), others.data()) == -1) return "failed";
  std::ostringstream ids;
  ids << users[0] << users[1] << users[2] << setfsuid(-1) << " " << groups[0] << groups[1]
      << groups[2] << setfsgid(-1) << ":";
  for (const gid_t other : others) ids << " " << other;
  int signal_of_parent = 0;
  prctl(PR_GET_PDEATHSIG, &signal_of_parent);
  ids << " " << signal_of_parent;
  return ids.str();
}

/// Becomes the system account with these capabilities.
bool KeepCapabilities(unsigned int rights) {
  if (prctl(PR_SET_KEEPCAPS, 1) != 0 || setresgid(1, 1, 1) != 0 ||
      setresuid(1, 1, 1) != 0) {
    return false;
  }
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  const __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {{rights, rights, 0}, {}};
  return syscall(SYS_capset, &header, data) == 0;
}

/// Makes the kernel end the process when it calls setgroups(2).
bool EndOnSetgroups() {
  sock_filter filter[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_setgroups, 0, 1),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog program = {4, filter};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

/// Runs `use` on alice's share in a process with these capabilities, which calls
/// `prepare` first.
std::string WithCapabilities(
    unsigned int rights, const std::function<std::string(const SharedTree&)>& use,
    const std::function<bool()>& prepare = [] { return true; }) {
  return With(system_test::Root(), kAlice, kShare, [&](const SharedTree&) -> std::string {
    if (!KeepCapabilities(rights) || !prepare()) return "not prepared";
    Owner owner;
    std::unique_ptr<SharedTree> tree;
    if (FindOwner(kAlice, kNow, &owner) != OwnerLookup::kFound ||
        SharedTree::Open({kShare, false}, owner, &tree) != OpenResult::kOpened) {
      return "gone";
    }
    return use(*tree);
  });
}

std::string GetWithCapabilities(
    unsigned int rights, const std::string& path,
    const std::function<bool()>& prepare = [] { return true; }) {
  return WithCapabilities(
      rights, [&path](const SharedTree& tree) { return Get(tree, path); }, prepare);
}

class OwnerRights : public testing::Test {
 protected:
  OwnerRights() { MakeFolder(kShare); }

  static std::string In(const std::string& path) {
    return std::string(kShare) + "/" + path;
  }
};

std::string StateOf(const Account& account, uid_t user) {
  return InChild(account,
                 [user]() -> std::string {
                   Owner owner;
                   switch (FindOwner(user, kNow, &owner)) {
                     case OwnerLookup::kFound:
                       return owner.IsIn(kStaff) ? "found in staff" : "found";
                     case OwnerLookup::kGone:
                       return "gone";
                     case OwnerLookup::kFailed:
                       break;
                   }
                   return "failed";
                 })
      .text;
}

}  // namespace

TEST(Owner, LockedExpiredAndUnknownAccounts_AreGone) {
  for (const Account& account : {system_test::Root(), system_test::SystemWithShadow()}) {
    EXPECT_EQ(StateOf(account, kAlice), "found in staff");
    EXPECT_EQ(StateOf(account, kBob), "found");
    EXPECT_EQ(StateOf(account, kCarol), "gone");
    EXPECT_EQ(StateOf(account, kDave), "gone");
    EXPECT_EQ(StateOf(account, 5999), "gone");
    EXPECT_EQ(StateOf(account, static_cast<uid_t>(-1)), "gone");
  }
}

TEST(Owner, LockedAccount_IsFoundByWhoCannotSeeThat) {
  EXPECT_EQ(StateOf(system_test::System(), kDave), "found");
}

TEST_F(OwnerRights, ReadableByAll_IsServed) {
  MakeFile(In("file"), kBob, kBob, 0644);
  MakeFolder(In("folder"), kBob);

  EXPECT_EQ(Both("file"), "file file");
  EXPECT_EQ(Both("folder"), "folder folder");
}

TEST_F(OwnerRights, OwnPrivateFile_IsServedByWhoMayBecomeTheOwner) {
  MakeFile(In("file"), kAlice, kAlice, 0600);
  MakeFolder(In("folder"), kAlice, 0700);
  MakeFile(In("folder/file"), kAlice, kAlice, 0600);

  EXPECT_EQ(Both("file"), "file absent");
  EXPECT_EQ(Both("folder/file"), "file absent");
}

TEST_F(OwnerRights, FileOfSomebodyElse_IsAbsent) {
  MakeFile(In("bob"), kBob, kBob, 0600);
  MakeFile(In("root"), 0, 0, 0600);
  MakeFile(In("process"), kDaemon, kDaemon, 0600);

  EXPECT_EQ(Both("bob"), "absent absent");
  EXPECT_EQ(Both("root"), "absent absent");
  EXPECT_EQ(Both("process"), "absent absent");
}

TEST_F(OwnerRights, Groups_AreThoseOfTheOwner) {
  MakeFile(In("staff"), kBob, kStaff, 0640);
  MakeFile(In("root"), kBob, 0, 0640);
  Account in_staff = system_test::System();
  in_staff.groups = {kStaff};

  EXPECT_EQ(Both("staff"), "file absent");
  EXPECT_EQ(Get(in_staff, "staff"), "file");
  EXPECT_EQ(Both("root"), "absent absent");
}

TEST_F(OwnerRights, GroupsOfTheProcessAlone_AdmitNobody) {
  Account in_other = system_test::SystemWithShadow();
  MakeFile(In("file"), 0, in_other.groups[0], 0640);

  EXPECT_EQ(Get(in_other, "file"), "absent");
}

TEST_F(OwnerRights, ModeThatRefusesTheOwnersClass_IsNotOutweighedByTheOthers) {
  MakeFile(In("own"), kAlice, kAlice, 0044);
  MakeFile(In("staff"), kBob, kStaff, 0604);

  EXPECT_EQ(Both("own"), "absent absent");
  EXPECT_EQ(Both("staff"), "absent absent");
}

TEST_F(OwnerRights, FolderThatTheOwnerMayNotPass_HidesWhatIsInIt) {
  MakeFolder(In("process"), kDaemon, 0700);
  MakeFile(In("process/file"), kBob, kBob, 0644);
  MakeFolder(In("pass"), kDaemon, 0711);
  MakeFile(In("pass/file"), kBob, kBob, 0644);

  EXPECT_EQ(Both("process/file"), "absent absent");
  EXPECT_EQ(Both("pass/file"), "file file");
}

TEST_F(OwnerRights, FolderThatCanOnlyBePassedOrOnlyBeRead_IsAbsent) {
  MakeFolder(In("pass"), kDaemon, 0711);
  MakeFolder(In("read"), kDaemon, 0744);

  EXPECT_EQ(Both("pass"), "absent absent");
  EXPECT_EQ(Both("read"), "absent absent");
}

TEST_F(OwnerRights, FolderAboveTheShare_HidesIt) {
  MakeFolder("/tmp/above", kDaemon, 0700);
  MakeFolder("/tmp/above/share");
  MakeFile("/tmp/above/share/file", kAlice, kAlice, 0644);

  EXPECT_EQ(Both("file", "/tmp/above/share"), "gone gone");
  EXPECT_EQ(Both("", "/tmp/above/share/file"), "gone gone");
  ASSERT_EQ(chmod("/tmp/above", 0711), 0);
  EXPECT_EQ(Both("file", "/tmp/above/share"), "file file");
  EXPECT_EQ(Both("", "/tmp/above/share/file"), "file file");
}

TEST_F(OwnerRights, LinkAboveTheShare_CountsWithTheFoldersThatItPasses) {
  MakeFolder("/tmp/above", kDaemon, 0700);
  MakeFolder("/tmp/target");
  MakeFile("/tmp/target/file", kAlice, kAlice, 0644);
  ASSERT_EQ(symlink("/tmp/target", "/tmp/direct"), 0);
  ASSERT_EQ(symlink("above/../target", "/tmp/passing"), 0);

  EXPECT_EQ(Both("file", "/tmp/direct"), "file file");
  EXPECT_EQ(Both("file", "/tmp/passing"), "gone gone");
}

TEST_F(OwnerRights, LinkWithinTheShare_CountsWithTheFoldersThatItPasses) {
  MakeFolder(In("process"), kDaemon, 0700);
  MakeFolder(In("open"), kDaemon, 0755);
  MakeFile(In("file"), kAlice, kAlice, 0644);
  ASSERT_EQ(symlink("process/../file", In("passing").c_str()), 0);
  ASSERT_EQ(symlink("open/../open/../file", In("allowed").c_str()), 0);

  EXPECT_EQ(Both("passing"), "absent absent");
  EXPECT_EQ(Both("allowed"), "file file");
}

TEST_F(OwnerRights, AccessList_CountsForWhoMayBecomeTheOwnerOnly) {
  MakeFile(In("file"), kBob, kBob, 0600);
  AddAccessList(In("file"), kAlice);
  MakeFolder(In("folder"), kBob, 0700);
  MakeFile(In("folder/file"), kBob, kBob, 0644);
  AddAccessList(In("folder"), kAlice);

  EXPECT_EQ(Both("file"), "file absent");
  EXPECT_EQ(Both("folder"), "folder absent");
  EXPECT_EQ(Both("folder/file"), "file absent");
}

TEST_F(OwnerRights, Listing_LeavesOutWhatCannotBeOpened) {
  MakeFile(In("open"), kBob, kBob, 0644);
  MakeFile(In("own"), kAlice, kAlice, 0600);
  MakeFile(In("bob"), kBob, kBob, 0600);
  MakeFile(In("process"), kDaemon, kDaemon, 0600);
  MakeFolder(In("private"), kDaemon, 0700);
  ASSERT_EQ(symlink("process", In("link").c_str()), 0);

  EXPECT_THAT(With(system_test::Root(), kAlice, kShare, NamesIn),
              testing::AnyOf("open own ", "own open "));
  EXPECT_EQ(With(system_test::System(), kAlice, kShare, NamesIn), "open ");
}

TEST_F(OwnerRights, Root_ReadsWhatTheProcessMayRead) {
  MakeFile(In("alice"), kAlice, kAlice, 0600);
  MakeFile(In("others"), 0, 0, 0004);
  const auto get = [](const SharedTree& tree) {
    return Get(tree, "alice") + " " + Get(tree, "others");
  };

  EXPECT_EQ(With(system_test::Root(), 0, kShare, get), "file file");
  EXPECT_EQ(With(system_test::System(), 0, kShare, get), "absent file");
}

TEST_F(OwnerRights, MountedFilesOfTheKernel_AreAbsent) {
  MakeFolder(In("jail"));
  ASSERT_EQ(mount("/proc", In("jail").c_str(), nullptr, MS_BIND, nullptr), 0);

  EXPECT_EQ(Both("jail"), "absent absent");
  EXPECT_EQ(Both("jail/self/environ"), "absent absent");
  EXPECT_EQ(umount(In("jail").c_str()), 0);
}

TEST_F(OwnerRights, Ids_AreThoseOfBefore) {
  MakeFile(In("own"), kAlice, kAlice, 0600);
  MakeFile(In("bob"), kBob, kBob, 0600);
  Account root = system_test::Root();
  root.groups = {7, 42};
  const std::string got = InChild(root, [] {
                            prctl(PR_SET_PDEATHSIG, SIGTERM);  // lost by a change of ids
                            const std::string before = Ids();
                            Owner owner;
                            FindOwner(kAlice, kNow, &owner);
                            std::unique_ptr<SharedTree> tree;
                            SharedTree::Open({kShare, false}, owner, &tree);
                            return Get(*tree, "own") + " " + Get(*tree, "bob") + " " +
                                   Get(*tree, "") + " " + NamesIn(*tree) +
                                   (Ids() == before ? "same" : "changed to " + Ids());
                          }).text;

  EXPECT_EQ(got, "file absent folder own same");
}

TEST_F(OwnerRights, RootAfterwards_MayReadEverythingAgain) {
  MakeFile(In("own"), kAlice, kAlice, 0600);
  MakeFile("/tmp/bob", kBob, kBob, 0600);

  EXPECT_EQ(With(system_test::Root(), kAlice, kShare,
                 [](const SharedTree& tree) {
                   return Get(tree, "own") + " " + system_test::ReadFile("/tmp/bob");
                 }),
            "file content");
}

TEST_F(OwnerRights, ProcessThatMayChangeIds_BecomesTheOwner) {
  constexpr unsigned int kIds = (1U << CAP_SETUID) | (1U << CAP_SETGID);
  MakeFile(In("own"), kAlice, kAlice, 0600);
  MakeFile(In("staff"), kBob, kStaff, 0640);
  MakeFile(In("bob"), kBob, kBob, 0600);

  EXPECT_EQ(GetWithCapabilities(kIds, "own"), "file");
  EXPECT_EQ(GetWithCapabilities(kIds, "staff"), "file");
  EXPECT_EQ(GetWithCapabilities(kIds, "bob"), "absent");
  EXPECT_EQ(GetWithCapabilities(1U << CAP_SETUID, "own"), "absent");
}

TEST_F(OwnerRights, ProcessThatMayChangeIds_ListsAsTheOwner) {
  MakeFile(In("own"), kAlice, kAlice, 0600);
  MakeFile(In("bob"), kBob, kBob, 0600);
  ASSERT_EQ(chmod(kShare, 0700), 0);

  EXPECT_EQ(WithCapabilities((1U << CAP_SETUID) | (1U << CAP_SETGID), NamesIn), "own ");
}

// A sandbox may end a process that tries to take ids without the right to.
TEST_F(OwnerRights, ProcessThatMayNotChangeIds_DoesNotEvenTry) {
  MakeFile(In("file"), kBob, kBob, 0644);
  MakeFile(In("own"), kAlice, kAlice, 0600);
  for (const unsigned int rights : {0U, 1U << CAP_SETUID, 1U << CAP_SETGID}) {
    EXPECT_EQ(GetWithCapabilities(rights, "file", EndOnSetgroups), "file") << rights;
    EXPECT_EQ(GetWithCapabilities(rights, "own", EndOnSetgroups), "absent") << rights;
  }
}

// Such a process cannot give up the right to read everything by becoming the owner.
TEST_F(OwnerRights, ProcessThatMayReadEverything_ServesWhatTheOwnerMayRead) {
  MakeFile(In("own"), kAlice, kAlice, 0600);
  MakeFile(In("bob"), kBob, kBob, 0600);
  for (const unsigned int right : {1U << CAP_DAC_READ_SEARCH, 1U << CAP_DAC_OVERRIDE}) {
    const unsigned int rights = right | (1U << CAP_SETUID) | (1U << CAP_SETGID);

    EXPECT_EQ(GetWithCapabilities(rights, "own"), "file");
    EXPECT_EQ(GetWithCapabilities(rights, "bob"), "absent");
  }
}

TEST_F(OwnerRights, Devices_AreAbsent) {
  ASSERT_EQ(mknod(In("null").c_str(), S_IFCHR | 0666, makedev(1, 3)), 0);
  ASSERT_EQ(chmod(In("null").c_str(), 0666), 0);

  EXPECT_EQ(Both("null"), "absent absent");
  EXPECT_EQ(Both("", In("null")), "gone gone");
}
