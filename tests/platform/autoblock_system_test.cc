#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "child_process.h"
#include "log_capture.h"
#include "support.h"
#include "vexo/autoblock.h"
#include "vexo/cgi.h"

using fakes::LogCapture;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const char* const kFolder = "/usr/vexo/etc/private/autoblock";
const char* const kPath = "/usr/vexo/etc/private/autoblock/autoblock.db";
const char* const kConfiguration = "/usr/vexo/etc/platform.conf";
constexpr uid_t kSystem = 1;
constexpr uid_t kNobody = 65534;
constexpr long kTmpfs = 0x01021994;

constexpr time_t kStart = 1750000000;

/// What time() returns.
time_t clock_time = kStart;

/// How often something waited for the disk.
int syncs = 0;

/// How often something slept.
int pauses = 0;

struct Known {
  int failures;
  std::string service;
  long blocked_until;
};

int Remember(const VexoAutoBlockEntry* entry, void* context) {
  auto& all = *static_cast<std::map<std::string, Known>*>(context);
  all[entry->address] = {entry->failures, entry->service, entry->blocked_until};
  return 0;
}

std::map<std::string, Known> List() {
  std::map<std::string, Known> all;
  EXPECT_EQ(VEXOAutoBlockList(Remember, &all), 0);
  return all;
}

int Failures(const std::string& address) {
  const auto all = List();
  const auto found = all.find(address);
  return found == all.end() ? 0 : found->second.failures;
}

void Fail(const char* address, int times) {
  for (int i = 0; i < times; ++i) EXPECT_EQ(AutoBlockFailLoginSet(address, "SHARING"), 0);
}

void Configure(const std::string& text) { std::ofstream(kConfiguration) << text; }

long Rows(const char* table) {
  sqlite3* connection = nullptr;
  sqlite3_stmt* statement = nullptr;
  EXPECT_EQ(sqlite3_open(kPath, &connection), SQLITE_OK);
  const std::string sql = std::string("SELECT count(*) FROM ") + table;
  sqlite3_prepare_v2(connection, sql.c_str(), -1, &statement, nullptr);
  EXPECT_EQ(sqlite3_step(statement), SQLITE_ROW);
  const long rows = sqlite3_column_int64(statement, 0);
  sqlite3_finalize(statement);
  sqlite3_close(connection);
  return rows;
}

void Sql(const std::string& sql) {
  sqlite3* connection = nullptr;
  EXPECT_EQ(sqlite3_open(kPath, &connection), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(connection);
}

/// The lines of the log that report logins, for auditors.
std::vector<std::string> LoginLines(const LogCapture& log) {
  std::vector<std::string> lines;
  for (size_t i = 0; i < log.lines().size(); ++i) {
    if ((log.priorities()[i] & LOG_FACMASK) == LOG_AUTHPRIV) {
      lines.push_back(log.lines()[i]);
    }
  }
  return lines;
}

/// All other lines.
std::vector<std::string> ErrorLines(const LogCapture& log) {
  std::vector<std::string> lines;
  for (size_t i = 0; i < log.lines().size(); ++i) {
    if ((log.priorities()[i] & LOG_FACMASK) != LOG_AUTHPRIV) {
      lines.push_back(log.lines()[i]);
    }
  }
  return lines;
}

/// A small file system in place of the store's folder.
class SmallFileSystem {
 public:
  explicit SmallFileSystem(const std::string& options) {
    EXPECT_EQ(mount("tmpfs", kFolder, "tmpfs", 0, options.c_str()), 0);
    EXPECT_EQ(chown(kFolder, kSystem, kSystem), 0);
  }
  SmallFileSystem(const SmallFileSystem&) = delete;
  SmallFileSystem& operator=(const SmallFileSystem&) = delete;
  ~SmallFileSystem() { EXPECT_EQ(umount2(kFolder, MNT_DETACH), 0); }

  void SetReadOnly(bool read_only) {
    const unsigned long flags = MS_REMOUNT | (read_only ? MS_RDONLY : 0);
    EXPECT_EQ(mount("tmpfs", kFolder, "tmpfs", flags, nullptr), 0);
  }
  /// Fills the file system up to `left` bytes.
  void Fill(unsigned long left) {
    Empty();
    struct statvfs status {};
    EXPECT_EQ(statvfs(kFolder, &status), 0);
    const unsigned long free_bytes = status.f_bfree * status.f_frsize;
    ASSERT_GT(free_bytes, left);
    std::ofstream(Filler()) << std::string(free_bytes - left, 'x');
    EXPECT_EQ(statvfs(kFolder, &status), 0);
    EXPECT_EQ(status.f_bfree * status.f_frsize, left);
  }
  void Empty() { std::filesystem::remove(Filler()); }

 private:
  static std::string Filler() { return std::string(kFolder) + "/filler"; }
};

/// Another process that holds the store's write lock.
class WriteLockHolder {
 public:
  WriteLockHolder() {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    process_ = StartTest([&ends] {
      close(ends[0]);
      sqlite3* connection = nullptr;
      EXPECT_EQ(sqlite3_open(kPath, &connection), SQLITE_OK);
      EXPECT_EQ(sqlite3_exec(connection, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr),
                SQLITE_OK);
      char byte = 'x';
      EXPECT_EQ(write(ends[1], &byte, 1), 1);
      EXPECT_EQ(read(ends[1], &byte, 1), 0);  // until the other end is closed
      sqlite3_close(connection);
    });
    close(ends[1]);
    end_ = ends[0];
    char byte;
    EXPECT_EQ(read(end_, &byte, 1), 1);
  }
  WriteLockHolder(const WriteLockHolder&) = delete;
  WriteLockHolder& operator=(const WriteLockHolder&) = delete;
  ~WriteLockHolder() {
    close(end_);
    EXPECT_TRUE(fakes::EndsWell(process_));
  }

 private:
  int end_ = -1;
  pid_t process_ = -1;
};

/// Stores that were moved aside because they were damaged.
std::vector<std::string> Damaged() {
  std::vector<std::string> paths;
  for (const auto& file : std::filesystem::directory_iterator(kFolder)) {
    const std::string path = file.path();
    if (path.find(".damaged-") != std::string::npos) paths.push_back(path);
  }
  return paths;
}

void ExpectOwner() {
  struct stat status {};
  ASSERT_EQ(stat(kPath, &status), 0);
  EXPECT_EQ(status.st_uid, kSystem);
  EXPECT_EQ(status.st_gid, kSystem);
  EXPECT_EQ(status.st_mode & 07777, 0660U);
}

/// Starts with no counts and no configuration.  The configuration is read once in a
/// process, so every test does its work in a child.
class AutoBlock : public testing::Test {
 protected:
  void SetUp() override {
    struct statfs status {};
    ASSERT_EQ(statfs("/usr/vexo", &status), 0);
    ASSERT_EQ(status.f_type, kTmpfs) << "this test must run in the private namespace";
    Clean();
  }
  void TearDown() override { Clean(); }

  static void Clean() {
    for (const auto& file : std::filesystem::directory_iterator(kFolder)) {
      std::filesystem::remove_all(file.path());
    }
    std::filesystem::remove_all(kConfiguration);
  }
};

}  // namespace

/// The provider's clock.  Only tests change it.
extern "C" time_t time(time_t* out) noexcept {
  if (out != nullptr) *out = clock_time;
  return clock_time;
}

extern "C" int fsync(int fd) {
  ++syncs;
  return static_cast<int>(syscall(SYS_fsync, fd));
}

extern "C" int fdatasync(int fd) {
  ++syncs;
  return static_cast<int>(syscall(SYS_fdatasync, fd));
}

extern "C" int nanosleep(const struct timespec* duration, struct timespec* left) {
  ++pauses;
  return static_cast<int>(
      syscall(SYS_clock_nanosleep, CLOCK_REALTIME, 0, duration, left));
}

TEST_F(AutoBlock, NoFile_NobodyIsBlockedAndNothingIsCreated) {
  InChild([] {
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    EXPECT_EQ(VEXOAutoBlockFailLoginReset("192.0.2.1"), 0);
    EXPECT_EQ(VEXOAutoBlockClear("192.0.2.1"), 0);
    EXPECT_THAT(List(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(kPath));
  });
}

TEST_F(AutoBlock, TenthFailure_BlocksForAnHour) {
  InChild([] {
    Fail("192.0.2.1", 9);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    Fail("192.0.2.1", 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("::ffff:192.0.2.1"), 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.2"), 0);

    const Known known = List()["192.0.2.1"];
    EXPECT_EQ(known.failures, 10);
    EXPECT_EQ(known.service, "SHARING");
    EXPECT_EQ(known.blocked_until, kStart + 3600);
  });
}

TEST_F(AutoBlock, Block_IsSeenByOtherProcessesAndEndsAfterAnHour) {
  InChild([] { Fail("192.0.2.1", 10); });

  InChild([] {
    clock_time = kStart + 3599;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    clock_time = kStart + 3600;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    EXPECT_THAT(List(), IsEmpty());
  });
}

TEST_F(AutoBlock, FailuresOlderThanTheWindow_DoNotCount) {
  InChild([] {
    Fail("192.0.2.1", 5);
    clock_time = kStart + 200;
    Fail("192.0.2.1", 4);
    clock_time = kStart + 299;
    EXPECT_EQ(Failures("192.0.2.1"), 9);
    clock_time = kStart + 300;
    EXPECT_EQ(Failures("192.0.2.1"), 4);
    Fail("192.0.2.1", 1);
    EXPECT_EQ(Failures("192.0.2.1"), 5);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    Fail("192.0.2.1", 5);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
  });
}

TEST_F(AutoBlock, Reset_ForgetsFailuresAndLeavesTheBlock) {
  InChild([] {
    Fail("192.0.2.1", 9);
    EXPECT_EQ(VEXOAutoBlockFailLoginReset("192.0.2.1"), 0);
    EXPECT_THAT(List(), IsEmpty());
    Fail("192.0.2.1", 9);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    Fail("192.0.2.1", 1);
    EXPECT_EQ(VEXOAutoBlockFailLoginReset("192.0.2.1"), 0);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    EXPECT_EQ(List()["192.0.2.1"].failures, 0);
    EXPECT_EQ(List()["192.0.2.1"].service, "SHARING");
  });
}

TEST_F(AutoBlock, Clear_ForgetsFailuresAndBlockOfThatAddressOnly) {
  InChild([] {
    Fail("192.0.2.1", 10);
    Fail("192.0.2.2", 10);
    EXPECT_EQ(VEXOAutoBlockClear("192.0.2.1"), 0);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.2"), 1);
    EXPECT_EQ(Failures("192.0.2.1"), 0);
    EXPECT_EQ(Failures("192.0.2.2"), 10);
  });
}

TEST_F(AutoBlock, IPv6_CountsByItsSlash64) {
  InChild([] {
    for (int i = 1; i <= 10; ++i) {
      Fail(("2001:db8:0:1::" + std::to_string(i)).c_str(), 1);
    }
    EXPECT_EQ(VexoCgiIsDeniedIP("2001:DB8:0:1:ffff::9"), 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("2001:db8:0:2::1"), 0);
    EXPECT_EQ(Failures("2001:db8:0:1::"), 10);
    EXPECT_EQ(VEXOAutoBlockClear("2001:db8:0:1::"), 0);  // as listed
    EXPECT_EQ(VexoCgiIsDeniedIP("2001:db8:0:1::1"), 0);
  });
}

TEST_F(AutoBlock, TextThatIsNotAnAddress_IsNeitherCountedNorBlocked) {
  InChild([] {
    for (const char* text : {"", "garbage", "1.2.3.4'; DROP TABLE failure; --"}) {
      EXPECT_EQ(AutoBlockFailLoginSet(text, "SHARING"), -1);
      EXPECT_EQ(errno, EINVAL);
      EXPECT_EQ(VEXOAutoBlockFailLoginReset(text), -1);
      EXPECT_EQ(VEXOAutoBlockClear(text), -1);
      EXPECT_EQ(VexoCgiIsDeniedIP(text), 0);
    }
    EXPECT_EQ(AutoBlockFailLoginSet(nullptr, "SHARING"), -1);
    EXPECT_FALSE(std::filesystem::exists(kPath));
  });
}

TEST_F(AutoBlock, Service_IsStoredUnchanged) {
  InChild([] {
    EXPECT_EQ(AutoBlockFailLoginSet("192.0.2.1", "it's; \"odd\""), 0);
    EXPECT_EQ(List()["192.0.2.1"].service, "it's; \"odd\"");
    EXPECT_EQ(AutoBlockFailLoginSet("192.0.2.1", nullptr), 0);
    EXPECT_EQ(List()["192.0.2.1"].service, "");
  });
}

TEST_F(AutoBlock, List_StopsOnRequestAndAllowsChangesMeanwhile) {
  InChild([] {
    for (const char* address : {"192.0.2.1", "192.0.2.2", "192.0.2.3"}) Fail(address, 1);
    int calls = 0;
    EXPECT_EQ(VEXOAutoBlockList(
                  [](const VexoAutoBlockEntry* entry, void* context) {
                    EXPECT_EQ(VEXOAutoBlockClear(entry->address), 0);
                    return ++*static_cast<int*>(context) == 2 ? 1 : 0;
                  },
                  &calls),
              0);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(List().size(), 1U);
  });
}

TEST_F(AutoBlock, Configuration_ChangesTheLimits) {
  Configure(
      "block_failures = 2\nblock_window_seconds = 30\nblock_duration_seconds = 5\n");
  InChild([] {
    Fail("192.0.2.1", 1);
    clock_time = kStart + 30;
    Fail("192.0.2.1", 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    Fail("192.0.2.1", 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    clock_time = kStart + 34;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    clock_time = kStart + 35;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
  });
}

TEST_F(AutoBlock, WrongConfiguration_IsLoggedAndTheDefaultsStay) {
  Configure("block_failures = none\n");
  InChild([] {
    const LogCapture log;
    Fail("192.0.2.1", 9);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    Fail("192.0.2.1", 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    EXPECT_THAT(ErrorLines(log), ElementsAre(HasSubstr("platform.conf:1:")));
  });
}

TEST_F(AutoBlock, UnreadableConfiguration_IsLoggedAndTheDefaultsStay) {
  std::filesystem::create_directory(kConfiguration);
  InChild([] {
    const LogCapture log;
    Fail("192.0.2.1", 1);
    EXPECT_EQ(Failures("192.0.2.1"), 1);
    EXPECT_THAT(ErrorLines(log), ElementsAre(HasSubstr("not a regular file")));
  });
}

TEST_F(AutoBlock, FileCreatedByRoot_BelongsToTheSystemAccount) {
  InChild([] {
    umask(0777);
    Fail("192.0.2.1", 1);
    ExpectOwner();
  });

  InChild([] {
    BecomeForGood(kSystem, {});
    Fail("192.0.2.1", 1);
    EXPECT_EQ(Failures("192.0.2.1"), 2);
  });
}

TEST_F(AutoBlock, FileCreatedByTheSystemAccount_ServesRootToo) {
  InChild([] {
    BecomeForGood(kSystem, {});
    Fail("192.0.2.1", 1);
    ExpectOwner();
  });

  InChild([] {
    Fail("192.0.2.1", 1);
    EXPECT_EQ(Failures("192.0.2.1"), 2);
    ExpectOwner();
  });
}

TEST_F(AutoBlock, OtherAccounts_CannotCountAndSeeEverybodyBlockedAndItIsLogged) {
  InChild([] { Fail("192.0.2.1", 1); });

  InChild([] {
    BecomeForGood(kNobody, {});
    const LogCapture log;
    EXPECT_EQ(AutoBlockFailLoginSet("192.0.2.1", "SHARING"), -1);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.9"), 1);
    EXPECT_EQ(VEXOAutoBlockList(Remember, nullptr), -1);
    EXPECT_EQ(ErrorLines(log).size(), 3U);
  });
}

TEST_F(AutoBlock, FailedCreation_IsLoggedAndLeavesNothingBehind) {
  InChild([] {
    ASSERT_EQ(chmod(kFolder, 0777), 0);
    BecomeForGood(kNobody, {});  // may write the folder, but not give the file away
    const LogCapture log;
    EXPECT_EQ(AutoBlockFailLoginSet("192.0.2.1", "SHARING"), -1);
    EXPECT_THAT(ErrorLines(log),
                ElementsAre(HasSubstr("cannot be created: Operation not")));
  });
  ASSERT_EQ(chmod(kFolder, 0750), 0);
  EXPECT_TRUE(std::filesystem::is_empty(kFolder));
}

TEST_F(AutoBlock, DamagedFile_IsMovedAsideLoggedAndReplaced) {
  const std::string damage(8192, 'x');
  std::ofstream(kPath) << damage;
  InChild([] {
    const LogCapture log;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    EXPECT_THAT(ErrorLines(log),
                ElementsAre(HasSubstr("not a database"), HasSubstr("damaged, moved to")));
    EXPECT_FALSE(std::filesystem::exists(kPath));
    EXPECT_EQ(AutoBlockFailLoginSet("192.0.2.1", "SHARING"), 0);
    EXPECT_THAT(ErrorLines(log), SizeIs(2));
  });
  const std::vector<std::string> kept = Damaged();
  ASSERT_THAT(kept, SizeIs(1));
  std::ifstream file(kept[0]);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), damage);
}

TEST_F(AutoBlock, DamagedPages_AreMovedAsideWithTheirJournalAndTheFailureIsCounted) {
  InChild([] {
    for (int i = 1; i <= 200; ++i) Fail(("192.0.2." + std::to_string(i)).c_str(), 1);
    std::fstream file(kPath, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(4096);
    file << std::string(16384, '\xff');
    file.close();

    Fail("192.0.2.1", 1);
    EXPECT_THAT(List(), SizeIs(1));
    EXPECT_EQ(Failures("192.0.2.1"), 1);
    EXPECT_FALSE(std::filesystem::exists(std::string(kPath) + "-journal"));
  });
  EXPECT_THAT(Damaged(), SizeIs(1));
}

TEST_F(AutoBlock, DamagedFile_SixteenProcessesAtOnce_LoseNoCountOfTheNewOne) {
  std::ofstream(kPath) << std::string(8192, 'x');
  InChildren(16, [](int i) { Fail(("192.0.2." + std::to_string(i)).c_str(), 1); });

  InChild([] { EXPECT_THAT(List(), SizeIs(16)); });
  EXPECT_THAT(Damaged(), SizeIs(1));
}

TEST_F(AutoBlock, FolderInPlaceOfTheFile_IsLoggedAndEverybodyIsBlocked) {
  std::filesystem::create_directory(kPath);
  InChild([] {
    const LogCapture log;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    EXPECT_EQ(ErrorLines(log).size(), 1U);
  });
}

TEST_F(AutoBlock, EmptyFile_IsAnEmptyList) {
  std::ofstream(kPath).flush();
  InChild([] {
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    EXPECT_THAT(List(), IsEmpty());
    Fail("192.0.2.1", 10);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
  });
}

TEST_F(AutoBlock, ClockSetBack_TheBlockBeginsAgainAndLastsNoLonger) {
  InChild([] {
    clock_time = kStart + 1000000;
    Fail("192.0.2.1", 10);
    clock_time = kStart;
    EXPECT_EQ(List()["192.0.2.1"].blocked_until, kStart + 3600);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    EXPECT_EQ(List()["192.0.2.1"].blocked_until, kStart + 3600);
    clock_time = kStart + 3599;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    clock_time = kStart + 3600;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    EXPECT_THAT(List(), IsEmpty());
  });
}

TEST_F(AutoBlock, ClockSetBackBeforeALaterCount_EveryBlockBeginsAgain) {
  InChild([] {
    clock_time = kStart + 1000000;
    Fail("192.0.2.1", 10);
    clock_time = kStart;
    Fail("192.0.2.2", 1);
    clock_time = kStart + 3599;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    clock_time = kStart + 3600;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
  });
}

TEST_F(AutoBlock, ClockSetBack_FailuresStillCount) {
  InChild([] {
    clock_time = kStart + 1000;
    Fail("192.0.2.1", 4);
    clock_time = kStart + 1001;
    Fail("192.0.2.1", 4);
    clock_time = kStart;
    EXPECT_EQ(Failures("192.0.2.1"), 8);
    Fail("192.0.2.1", 1);
    EXPECT_EQ(Failures("192.0.2.1"), 9);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    Fail("192.0.2.1", 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    EXPECT_EQ(Rows("failure"), 1);
  });
}

TEST_F(AutoBlock, ExpiredRows_AreRemovedByLaterCountsAFewAtATime) {
  InChild([] {
    for (int i = 0; i < 50; ++i) {
      clock_time = kStart + i;
      Fail(("192.0.2." + std::to_string(i)).c_str(), 1);
    }
    for (int i = 100; i < 110; ++i) {
      Fail(("192.0.2." + std::to_string(i)).c_str(), 10);
    }
    EXPECT_EQ(Rows("failure"), 60);
    EXPECT_EQ(Rows("block"), 10);
    clock_time = kStart + 10000;
    Fail("192.0.2.1", 1);
    EXPECT_EQ(Rows("failure"), 57);
    EXPECT_EQ(Rows("block"), 6);
    Fail("192.0.2.1", 20);
    EXPECT_EQ(Rows("failure"), 1);
    EXPECT_EQ(Rows("block"), 1);
  });
}

TEST_F(AutoBlock, LoginThatIsNotRefused_WaitsForNoDiskAndLeavesNoTrace) {
  InChild([] {
    syncs = 0;
    Fail("192.0.2.1", 1);
    EXPECT_GT(syncs, 0);  // a count does wait

    syncs = 0;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.2"), 0);
    EXPECT_EQ(VEXOAutoBlockFailLoginReset("192.0.2.2"), 0);
    EXPECT_EQ(syncs, 0);
    EXPECT_EQ(Failures("192.0.2.1"), 1);
    EXPECT_EQ(Failures("192.0.2.2"), 0);
  });
}

TEST_F(AutoBlock, FullFileSystem_LoginsAreRefusedUntilThereIsRoom) {
  SmallFileSystem small("size=1m");
  InChild([&small] {
    Fail("192.0.2.1", 1);
    small.Fill(0);
    {
      const LogCapture log;
      EXPECT_EQ(AutoBlockFailLoginSet("192.0.2.1", "SHARING"), -1);
      EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
      EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.2"), 1);
      EXPECT_THAT(ErrorLines(log), Contains(HasSubstr("the file system is full")));
      EXPECT_THAT(LoginLines(log),
                  ElementsAre("vexosharing: login failed: from=192.0.2.1 service=SHARING "
                              "failures=unknown",
                              "vexosharing: login refused: from=192.0.2.1 "
                              "reason=failures-cannot-be-counted",
                              "vexosharing: login refused: from=192.0.2.2 "
                              "reason=failures-cannot-be-counted"));
    }
    small.Empty();
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    Fail("192.0.2.1", 8);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    Fail("192.0.2.1", 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
  });
}

TEST_F(AutoBlock, HoweverLittleRoomThereIs_NoGuessIsFree) {
  SmallFileSystem small("size=4m");
  InChild([&small] {
    for (int i = 0; i < 2000; ++i) {  // rows that the counts below may remove
      clock_time = kStart + i / 200;
      Fail(("10.0." + std::to_string(i / 200) + "." + std::to_string(i % 200)).c_str(),
           1);
    }
    clock_time = kStart + 10000;
    int admitted = 0;
    int refused = 0;
    for (unsigned long pages = 0; pages <= 60; ++pages) {
      small.Fill(pages * 4096);
      const std::string address = "2001:db8:0:" + std::to_string(pages) + "::";
      if (VexoCgiIsDeniedIP(address.c_str()) == 1) {
        ++refused;
      } else {
        ++admitted;
        EXPECT_EQ(AutoBlockFailLoginSet(address.c_str(), "SHARING"), 0) << pages;
      }
    }
    EXPECT_GT(admitted, 0);
    EXPECT_GT(refused, 0);
  });
}

TEST_F(AutoBlock, NoInodesLeft_LoginsAreRefused) {
  SmallFileSystem small("nr_inodes=4");
  InChild([] {
    Fail("192.0.2.1", 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    const std::string filler = std::string(kFolder) + "/filler";
    for (int i = 0; i < 4; ++i) std::ofstream(filler + std::to_string(i)).flush();
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    std::filesystem::remove(filler + "0");
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
  });
}

TEST_F(AutoBlock, FullFileSystemWithoutAStore_LoginsAreRefused) {
  SmallFileSystem small("size=1m");
  InChild([&small] {
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    small.Fill(0);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
  });
}

TEST_F(AutoBlock, ReadOnlyFileSystem_LoginsAreRefusedUntilItIsWritable) {
  SmallFileSystem small("");
  InChild([&small] {
    small.SetReadOnly(true);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);  // without a store
    small.SetReadOnly(false);
    Fail("192.0.2.1", 1);
    small.SetReadOnly(true);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    EXPECT_EQ(AutoBlockFailLoginSet("192.0.2.1", "SHARING"), -1);
    small.SetReadOnly(false);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
  });
}

TEST_F(AutoBlock, MissingFolder_IsCreatedByRoot) {
  const auto check = [] { EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0); };
  const auto count = [] { Fail("192.0.2.1", 1); };
  for (const std::function<void()>& first : {std::function<void()>(check), {count}}) {
    std::filesystem::remove_all(kFolder);
    InChild([&first] {
      umask(0777);
      const LogCapture log;
      first();
      EXPECT_THAT(ErrorLines(log), ElementsAre(HasSubstr("created, because")));
    });
    struct stat status {};
    ASSERT_EQ(stat(kFolder, &status), 0);
    EXPECT_EQ(status.st_uid, kSystem);
    EXPECT_EQ(status.st_gid, kSystem);
    EXPECT_EQ(status.st_mode & 07777, 0750U);
  }
}

TEST_F(AutoBlock, MissingFolderThatCannotBeCreated_LoginsAreRefusedUntilItIsBack) {
  const std::string away = std::string(kFolder) + "-away";
  std::filesystem::rename(kFolder, away);
  InChild([] {
    BecomeForGood(kSystem, {});
    const LogCapture log;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    EXPECT_EQ(AutoBlockFailLoginSet("192.0.2.1", "SHARING"), -1);
    EXPECT_THAT(ErrorLines(log), ElementsAre(HasSubstr("No such file or directory"),
                                             HasSubstr("cannot be created: No such")));
  });
  const std::string parent = std::filesystem::path(kFolder).parent_path();
  std::filesystem::rename(parent, parent + "-away");
  InChild([] { EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1); });
  std::filesystem::rename(parent + "-away", parent);
  std::filesystem::rename(away, kFolder);
  InChild([] { EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0); });
}

TEST_F(AutoBlock, StoreOfAnotherShape_LoginsAreRefused) {
  InChild([] {
    Fail("192.0.2.1", 1);
    Sql("DROP TABLE failure; CREATE TABLE failure(address, at, other)");
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
  });
}

TEST_F(AutoBlock, EachFailureAndBlock_IsLoggedInTheAuthenticationLog) {
  Configure("block_failures = 2\nblock_duration_seconds = 60\n");
  InChild([] {
    const LogCapture log;
    Fail("::ffff:192.0.2.1", 2);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    Fail("2001:DB8::7", 1);
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            "vexosharing: login failed: from=192.0.2.1 service=SHARING failures=1",
            "vexosharing: login failed: from=192.0.2.1 service=SHARING failures=2",
            "vexosharing: address blocked: from=192.0.2.1 service=SHARING failures=2 "
            "seconds=60",
            "vexosharing: login refused: from=192.0.2.1 reason=blocked",
            "vexosharing: login failed: from=2001:db8::7 service=SHARING failures=1"));
    EXPECT_THAT(log.priorities(),
                ElementsAre(LOG_AUTHPRIV | LOG_NOTICE, LOG_AUTHPRIV | LOG_NOTICE,
                            LOG_AUTHPRIV | LOG_WARNING, LOG_AUTHPRIV | LOG_WARNING,
                            LOG_AUTHPRIV | LOG_NOTICE));
  });
}

TEST_F(AutoBlock, ServiceWithOddCharacters_IsLoggedEscaped) {
  InChild([] {
    const LogCapture log;
    EXPECT_EQ(AutoBlockFailLoginSet("192.0.2.1", "a b\nvexosharing: login failed: x=%s"),
              0);
    EXPECT_THAT(
        log.lines(),
        ElementsAre("vexosharing: login failed: from=192.0.2.1 "
                    "service=a%20b%0Avexosharing%3A%20login%20failed%3A%20x%3D%25s "
                    "failures=1"));
  });
}

TEST_F(AutoBlock, TextThatIsNotAnAddress_IsNotLogged) {
  InChild([] {
    const LogCapture log;
    EXPECT_EQ(AutoBlockFailLoginSet("1.2.3.4 x", "SHARING"), -1);
    EXPECT_EQ(VexoCgiIsDeniedIP("1.2.3.4 x"), 0);
    EXPECT_THAT(log.lines(), IsEmpty());
  });
}

TEST_F(AutoBlock, WriteLockOfAnotherProcess_ChecksDoNotWait) {
  InChild([] { Fail("192.0.2.1", 10); });
  const WriteLockHolder holder;
  InChild([] {
    const LogCapture log;
    pauses = 0;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.2"), 0);
    EXPECT_EQ(pauses, 0);
    EXPECT_THAT(ErrorLines(log), IsEmpty());
  });
}

TEST_F(AutoBlock, ManyProcessesCheckWhileOthersCount_NobodyIsWronglyRefused) {
  InChildren(70, [](int i) {
    const std::string address = "10.0.0." + std::to_string(i);
    const LogCapture log;
    for (int round = 0; round < 20; ++round) {
      if (i < 10) {
        Fail(address.c_str(), 1);
      } else {
        EXPECT_EQ(VexoCgiIsDeniedIP(address.c_str()), 0);
      }
    }
    EXPECT_THAT(ErrorLines(log), IsEmpty());
  });
}

TEST_F(AutoBlock, ManyProcessesCountAtOnce_NoneIsLost) {
  constexpr int kProcesses = 16;
  constexpr int kCounts = 40;
  Configure("block_failures = 640\n");
  InChildren(kProcesses, [](int i) {
    if (i % 2 == 0) BecomeForGood(kSystem, {});
    const LogCapture log;
    Fail("192.0.2.1", kCounts - 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    EXPECT_THAT(ErrorLines(log), IsEmpty());
  });

  InChild([] {
    EXPECT_EQ(Failures("192.0.2.1"), kProcesses * (kCounts - 1));
    Fail("192.0.2.1", kProcesses - 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    Fail("192.0.2.1", 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    ExpectOwner();
  });
}

TEST_F(AutoBlock, ManyProcessesCreateTheFileAtOnce_NoCountIsLost) {
  for (int round = 0; round < 20; ++round) {
    Clean();
    InChildren(8, [](int i) {
      if (i % 2 == 0) BecomeForGood(kSystem, {});
      Fail("192.0.2.1", 1);
    });
    InChild([] {
      EXPECT_EQ(Failures("192.0.2.1"), 8);
      ExpectOwner();
    });
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(kFolder), {}), 1);
  }
}
