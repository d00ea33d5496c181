#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "base_db.h"
#include "child_process.h"
#include "entry_db.h"
#include "log_capture.h"
#include "result.h"
#include "sharing_db.h"
#include "sharinglogin.h"
#include "system_test.h"

using fakes::EndsWell;
using fakes::LogCapture;
using fakes::StartChild;
using system_test::InChild;
using system_test::kDatabase;
using system_test::kDatabaseFolder;
using system_test::Link;
using system_test::OwnerAndMode;
using system_test::SqlValue;
using system_test::WriteFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using VEXO::sharing::db::BaseDB;
using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::SharingDB;
using VEXO::sharing::record::Entry;

namespace {

const std::string kPid = " (" + std::to_string(getpid()) + ") ";

int CheckAnything() {
  setenv("REMOTE_ADDR", "192.0.2.1", 1);
  _tag_sharing_login_params params = {};
  params.hash = "hash";
  params.session_id = "session";
  return VEXO::VexoSharingIsAuthorized(&params);
}

}  // namespace

TEST(Database, NewFile_BelongsToTheSystemAccountWithMode660) {
  umask(077);  // the mode is set, not left to the caller's mask

  SharingDB db;

  EXPECT_TRUE(db.IsGood());
  EXPECT_EQ(OwnerAndMode(kDatabase), "660 1:1");
}

TEST(Database, ExistingFile_KeepsOwnerAndMode) {
  WriteFile(kDatabase, "");
  ASSERT_EQ(chown(kDatabase, 1, 5001), 0);
  ASSERT_EQ(chmod(kDatabase, 0600), 0);

  SharingDB db;

  EXPECT_TRUE(db.IsGood());
  EXPECT_EQ(OwnerAndMode(kDatabase), "600 1:5001");
}

TEST(Database, MissingFolder_IsLoggedAndNotGood) {
  std::filesystem::remove_all(kDatabaseFolder);
  LogCapture log;

  SharingDB db;

  EXPECT_FALSE(db.IsGood());
  ASSERT_FALSE(log.lines().empty());
  EXPECT_EQ(log.lines()[0],
            "base_db:222" + kPid + "create database failed on " + kDatabase + "\n\n");
}

TEST(Database, FolderOfAnotherAccount_IsLoggedAndNotGood) {
  ASSERT_EQ(chown(kDatabaseFolder, 0, 0), 0);
  LogCapture log;

  SharingDB db;

  EXPECT_FALSE(db.IsGood());
  ASSERT_FALSE(log.lines().empty());
  EXPECT_EQ(log.lines()[0],
            "base_db:222" + kPid + "create database failed on " + kDatabase + "\n\n");
}

TEST(Database, FileThatTheSystemAccountMayNotWrite_IsLoggedAndNotGood) {
  { SharingDB db; }
  ASSERT_EQ(chown(kDatabase, 5001, 5001), 0);
  LogCapture log;

  SharingDB db;

  EXPECT_FALSE(db.IsGood());
  ASSERT_FALSE(log.lines().empty());
  EXPECT_EQ(log.lines()[0], "base_db:239" + kPid + "db connect failed\n\n");
}

TEST(Database, DamagedFile_IsLoggedAndNotGood) {
  WriteFile(kDatabase, std::string(8192, 'x'));
  ASSERT_EQ(chown(kDatabase, 1, 1), 0);
  LogCapture log;

  SharingDB db;

  EXPECT_FALSE(db.IsGood());
  EXPECT_THAT(log.lines(), testing::Contains("base_db:242" + kPid + "init failed\n\n"));
  EXPECT_EQ(std::filesystem::file_size(kDatabase), 8192U);
}

TEST(Database, LockedDatabase_IsWaitedFor) {
  SharingDB db;
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const auto before = std::chrono::steady_clock::now();
  const pid_t holder = StartChild([&] {
    BaseDB other(kDatabase, 0660);
    if (!other.Execute("BEGIN IMMEDIATE")) return false;
    if (write(ready[1], "x", 1) != 1) return false;
    usleep(1500000);
    return other.Execute("COMMIT");
  });
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  Entry link = Link("link");

  EXPECT_TRUE(EntryDB(db).Create(link)) << db.GetLastError();

  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(1500));
  EXPECT_TRUE(EndsWell(holder));
}

TEST(Database, FullDisk_FailsTheWriteAndLosesNothing) {
  const std::string folder = "/usr/vexo/small";
  ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
  ASSERT_EQ(mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=400k,mode=750,uid=1,gid=1"),
            0);
  const std::string path = folder + "/sharing.db";
  SharingDB db(path);
  ASSERT_TRUE(db.IsGood());
  EntryDB links(db);

  int stored = 0;
  bool full = false;
  while (!full && stored < 10000) {
    Entry link = Link("link" + std::to_string(stored));
    link.set_protect_title(std::string(1000, 't'));
    full = !links.Create(link);
    if (!full) ++stored;
  }

  EXPECT_TRUE(full);
  EXPECT_GT(stored, 0);
  EXPECT_EQ(db.GetLastError(), "database or disk is full");
  ASSERT_EQ(
      mount("tmpfs", folder.c_str(), "tmpfs", MS_REMOUNT, "size=8m,mode=750,uid=1,gid=1"),
      0);
  EXPECT_EQ(SqlValue(path, "SELECT count(*) FROM entry"), std::to_string(stored));
  EXPECT_EQ(SqlValue(path, "PRAGMA integrity_check"), "ok");
  Entry link = Link("after");
  EXPECT_TRUE(links.Create(link)) << db.GetLastError();
}

TEST(Database, FullDisk_UpdatesNeedNoLongerLog) {
  const std::string folder = "/usr/vexo/full";
  ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
  ASSERT_EQ(mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=8m,mode=750,uid=1,gid=1"),
            0);
  SharingDB db(folder + "/sharing.db");
  Entry link = Link("link");
  ASSERT_TRUE(EntryDB(db).Create(link));
  std::ofstream filler(folder + "/filler");
  while (filler << std::string(4096, 'x') << std::flush) continue;

  for (int i = 1; i <= 300; ++i) {
    link.set_use_count(i);
    ASSERT_TRUE(EntryDB(db).Update(link)) << db.GetLastError();
  }
}

TEST(Database, ProcessKilledWhileItWrites_LosesNoStoredLink) {
  for (int round = 0; round < 10; ++round) {
    int reports[2];
    ASSERT_EQ(pipe(reports), 0);
    const std::string prefix = std::to_string(round) + "-";
    const pid_t writer = StartChild([&] {
      SharingDB db;
      EntryDB links(db);
      for (int i = 0;; ++i) {
        Entry link = Link(prefix + std::to_string(i));
        if (!links.Create(link) || write(reports[1], "x", 1) != 1) return false;
      }
    });
    close(reports[1]);
    int stored = 0;
    char byte = 0;
    while (stored < 20 + round && read(reports[0], &byte, 1) == 1) ++stored;
    ASSERT_EQ(kill(writer, SIGKILL), 0);
    EXPECT_FALSE(EndsWell(writer));
    while (read(reports[0], &byte, 1) == 1) ++stored;
    close(reports[0]);

    // The last link may have been stored without having been reported.
    const int found = std::stoi(SqlValue(
        kDatabase, "SELECT count(*) FROM entry WHERE hash LIKE '" + prefix + "%'"));
    EXPECT_GE(found, stored);
    EXPECT_LE(found, stored + 1);
    EXPECT_EQ(SqlValue(kDatabase, "PRAGMA integrity_check"), "ok");
    SharingDB db;
    Entry link = Link(prefix + "after");
    EXPECT_TRUE(EntryDB(db).Create(link)) << db.GetLastError();
  }
}

TEST(Database, FileOfRoot_IsMovedAwayByTheCheckAndCreatedAgainByTheNextProcess) {
  WriteFile(kDatabase, "root made this");
  ASSERT_EQ(chmod(kDatabase, 0600), 0);

  const auto answer =
      InChild(system_test::Root(), [] { return std::to_string(CheckAnything()); });
  const auto next = InChild(system_test::Root(), [] {
    return SharingDB::Instance().IsGood() ? "good" : "not good";
  });

  EXPECT_EQ(answer.text, "-5");
  EXPECT_THAT(answer.log, testing::IsSupersetOf({HasSubstr("db is not good"),
                                                 HasSubstr("db ownner is root")}));
  EXPECT_EQ(system_test::ReadFile("/tmp/sharing.db"), "root made this");
  EXPECT_EQ(next.text, "good");
  EXPECT_THAT(next.log, IsEmpty());
  EXPECT_EQ(OwnerAndMode(kDatabase), "660 1:1");
}

TEST(Database, FileOfRoot_CannotBeMovedAwayByTheSystemAccount) {
  WriteFile(kDatabase, "root made this");
  ASSERT_EQ(chmod(kDatabase, 0600), 0);

  const auto answer =
      InChild(system_test::System(), [] { return std::to_string(CheckAnything()); });

  EXPECT_EQ(answer.text, "-5");
  EXPECT_THAT(answer.log,
              testing::IsSupersetOf({HasSubstr("base_db:282 ERROR: IF_RUN_AS(0, 0)"),
                                     HasSubstr("base_db:290 Permssion denied. uid=1")}));
  EXPECT_EQ(system_test::ReadFile(kDatabase), "root made this");
}

TEST(Database, MovingAwayTheFile_ReturnsTheInvertedSense) {
  BaseDB db(kDatabase, 0660);
  ASSERT_TRUE(db.IsGood());

  EXPECT_FALSE(db.MoveRootDB());  // the program succeeded
  EXPECT_EQ(OwnerAndMode(kDatabase), "missing");
  EXPECT_EQ(OwnerAndMode("/tmp/sharing.db"), "660 1:1");
  EXPECT_TRUE(db.MoveRootDB());  // nothing left to move
}

TEST(Database, OwnerIsRoot_OnlyWhenUserAndGroupAre) {
  BaseDB db(kDatabase, 0660);

  EXPECT_FALSE(db.IsRoot());
  ASSERT_EQ(chown(kDatabase, 0, 1), 0);
  EXPECT_FALSE(db.IsRoot());
  ASSERT_EQ(chown(kDatabase, 1, 0), 0);
  EXPECT_FALSE(db.IsRoot());
  ASSERT_EQ(chown(kDatabase, 0, 0), 0);
  EXPECT_TRUE(db.IsRoot());
  ASSERT_EQ(unlink(kDatabase), 0);
  EXPECT_FALSE(db.IsRoot());
}
