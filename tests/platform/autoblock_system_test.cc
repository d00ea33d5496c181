#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "child_process.h"
#include "log_capture.h"
#include "support.h"
#include "vexo/autoblock.h"
#include "vexo/cgi.h"

using fakes::LogCapture;
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

/// What time() answers.
time_t clock_time = kStart;

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
    ASSERT_EQ(status.f_type, kTmpfs) << "this test belongs into the private namespace";
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

/// The provider's clock, which stands still until a test sets it.
extern "C" time_t time(time_t* out) noexcept {
  if (out != nullptr) *out = clock_time;
  return clock_time;
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

TEST_F(AutoBlock, TextThatIsNoAddress_IsNeitherCountedNorBlocked) {
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

TEST_F(AutoBlock, Service_IsKeptWhateverItsText) {
  InChild([] {
    EXPECT_EQ(AutoBlockFailLoginSet("192.0.2.1", "it's; \"odd\""), 0);
    EXPECT_EQ(List()["192.0.2.1"].service, "it's; \"odd\"");
    EXPECT_EQ(AutoBlockFailLoginSet("192.0.2.1", nullptr), 0);
    EXPECT_EQ(List()["192.0.2.1"].service, "");
  });
}

TEST_F(AutoBlock, List_StopsWhenToldAndAllowsChangesMeanwhile) {
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
    EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("platform.conf:1:")));
  });
}

TEST_F(AutoBlock, UnreadableConfiguration_IsLoggedAndTheDefaultsStay) {
  std::filesystem::create_directory(kConfiguration);
  InChild([] {
    const LogCapture log;
    Fail("192.0.2.1", 1);
    EXPECT_EQ(Failures("192.0.2.1"), 1);
    EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("not a regular file")));
  });
}

TEST_F(AutoBlock, FileMadeByRoot_BelongsToTheSystemAccount) {
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

TEST_F(AutoBlock, FileMadeByTheSystemAccount_ServesRootToo) {
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
    EXPECT_EQ(log.lines().size(), 3U);
  });
}

TEST_F(AutoBlock, FailedCreation_IsLoggedAndLeavesNothingBehind) {
  InChild([] {
    ASSERT_EQ(chmod(kFolder, 0777), 0);
    BecomeForGood(kNobody, {});  // may write the folder, but not give the file away
    const LogCapture log;
    EXPECT_EQ(AutoBlockFailLoginSet("192.0.2.1", "SHARING"), -1);
    EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("cannot be created: Operation not")));
  });
  ASSERT_EQ(chmod(kFolder, 0750), 0);
  EXPECT_TRUE(std::filesystem::is_empty(kFolder));
}

TEST_F(AutoBlock, DamagedFile_IsMovedAsideLoggedAndBegunAgain) {
  const std::string damage(8192, 'x');
  std::ofstream(kPath) << damage;
  InChild([] {
    const LogCapture log;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    EXPECT_THAT(log.lines(),
                ElementsAre(HasSubstr("not a database"), HasSubstr("damaged, moved to")));
    EXPECT_FALSE(std::filesystem::exists(kPath));
    EXPECT_EQ(AutoBlockFailLoginSet("192.0.2.1", "SHARING"), 0);
    EXPECT_THAT(log.lines(), SizeIs(2));
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
  std::vector<pid_t> children;
  for (int i = 0; i < 16; ++i) {
    children.push_back(
        StartTest([i] { Fail(("192.0.2." + std::to_string(i)).c_str(), 1); }));
  }
  for (const pid_t child : children) EXPECT_TRUE(fakes::EndsWell(child));

  InChild([] { EXPECT_THAT(List(), SizeIs(16)); });
  EXPECT_THAT(Damaged(), SizeIs(1));
}

TEST_F(AutoBlock, FolderInPlaceOfTheFile_IsLoggedAndEverybodyIsBlocked) {
  std::filesystem::create_directory(kPath);
  InChild([] {
    const LogCapture log;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    EXPECT_EQ(log.lines().size(), 1U);
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

TEST_F(AutoBlock, ClockSetBack_BlocksNobodyLongerThanABlockLasts) {
  InChild([] {
    clock_time = kStart + 1000000;
    Fail("192.0.2.1", 10);
    Fail("192.0.2.2", 9);
    clock_time = kStart;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    Fail("192.0.2.2", 1);
    EXPECT_EQ(Failures("192.0.2.2"), 1);
    EXPECT_EQ(List()["192.0.2.1"].blocked_until, kStart + 3600);
    clock_time = kStart + 3600;
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
  });
}

TEST_F(AutoBlock, OldRows_AreRemovedByLaterCounts) {
  InChild([] {
    for (int i = 0; i < 50; ++i) {
      clock_time = kStart + i;
      Fail(("192.0.2." + std::to_string(i)).c_str(), 1);
    }
    Fail("192.0.2.100", 10);
    EXPECT_EQ(Rows("failure"), 51);
    EXPECT_EQ(Rows("block"), 1);
    clock_time = kStart + 10000;
    Fail("192.0.2.1", 1);
    EXPECT_EQ(Rows("failure"), 1);
    EXPECT_EQ(Rows("block"), 0);
  });
}

TEST_F(AutoBlock, ManyProcessesCountAtOnce_NoneIsLost) {
  constexpr int kProcesses = 16;
  constexpr int kCounts = 40;
  Configure("block_failures = 640\n");
  std::vector<pid_t> children;
  for (int i = 0; i < kProcesses; ++i) {
    children.push_back(StartTest([i] {
      if (i % 2 == 0) BecomeForGood(kSystem, {});
      const LogCapture log;
      Fail("192.0.2.1", kCounts - 1);
      EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
      EXPECT_THAT(log.lines(), IsEmpty());
    }));
  }
  for (const pid_t child : children) EXPECT_TRUE(fakes::EndsWell(child));

  InChild([] {
    EXPECT_EQ(Failures("192.0.2.1"), kProcesses * (kCounts - 1));
    Fail("192.0.2.1", kProcesses - 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 0);
    Fail("192.0.2.1", 1);
    EXPECT_EQ(VexoCgiIsDeniedIP("192.0.2.1"), 1);
    ExpectOwner();
  });
}

TEST_F(AutoBlock, ManyProcessesMakeTheFileAtOnce_NoCountIsLost) {
  for (int round = 0; round < 20; ++round) {
    Clean();
    std::vector<pid_t> children;
    for (int i = 0; i < 8; ++i) {
      children.push_back(StartTest([i] {
        if (i % 2 == 0) BecomeForGood(kSystem, {});
        Fail("192.0.2.1", 1);
      }));
    }
    for (const pid_t child : children) EXPECT_TRUE(fakes::EndsWell(child));
    InChild([] {
      EXPECT_EQ(Failures("192.0.2.1"), 8);
      ExpectOwner();
    });
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(kFolder), {}), 1);
  }
}
