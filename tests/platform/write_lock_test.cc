// The lock that serializes writers and checkpoints of a database.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <thread>

#include "base/unique_fd.h"
#include "child_process.h"
#include "database_support.h"
#include "file_lock.h"
#include "log_capture.h"
#include "support.h"
#include "temp_dir.h"
#include "vexo/db.h"

using fakes::FileLock;
using fakes::LogCapture;
using fakes::TempDir;
using testing::ElementsAre;
using testing::HasSubstr;
using VEXO::base::UniqueFd;

namespace {

constexpr uid_t kNobody = 65534;
constexpr useconds_t kUntilLookedUp = 150 * 1000;  // the lock file, by its name

/// Sends SIGALRM every so many milliseconds; its handler does nothing.
class Alarm {
 public:
  Alarm(int milliseconds, int flags) {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    action.sa_flags = flags;
    sigaction(SIGALRM, &action, &before_);
    const timeval interval = {0, milliseconds * 1000L};
    const itimerval timer = {interval, interval};
    setitimer(ITIMER_REAL, &timer, nullptr);
  }
  ~Alarm() {
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before_, nullptr);
  }
  Alarm(const Alarm&) = delete;
  Alarm& operator=(const Alarm&) = delete;

 private:
  struct sigaction before_;
};

class WriteLockTest : public testing::Test {
 protected:
  WriteLockTest() {
    EXPECT_TRUE(Executes(db, "PRAGMA journal_mode=WAL; CREATE TABLE t(v)"));
  }

  bool IsFree() const { return FileLock(lock_path).taken(); }
  std::string Count() { return Values(Ask(db, "SELECT count(*) AS v FROM t")).at(0); }
  /// Interrupts a wait of `connection`, so that its later writes fail at once.
  static void ExhaustWait(const Database& connection) {
    const Alarm alarm(20, 0);
    EXPECT_FALSE(Executes(connection, "INSERT INTO t VALUES('never')"));
  }

  TempDir dir;
  const std::string path = dir.Write("test.db", "");
  const std::string lock_path = path + "-lock";
  Database db = Connect(path);
};

/// A process that holds a write transaction open until it is killed.
class Writer {
 public:
  explicit Writer(const std::string& path) {
    int ready[2];
    EXPECT_EQ(pipe(ready), 0);
    const UniqueFd read_end(ready[0]);
    UniqueFd write_end(ready[1]);
    child_ = StartTest([&] {
      const Database own = Connect(path);
      EXPECT_TRUE(Executes(own, "BEGIN IMMEDIATE; INSERT INTO t VALUES('lost')"));
      EXPECT_EQ(write(write_end.get(), "x", 1), 1);
      pause();
    });
    write_end.Reset();
    char byte;
    EXPECT_EQ(read(read_end.get(), &byte, 1), 1);
  }
  ~Writer() { Kill(); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void Kill() {
    if (child_ == -1) return;
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
    child_ = -1;
  }

 private:
  pid_t child_;
};

}  // namespace

TEST_F(WriteLockTest, WriterAndCheckpoint_ExcludeEachOther) {
  const Database writer = Connect(path);
  ASSERT_TRUE(Executes(writer, "INSERT INTO t VALUES(1); BEGIN IMMEDIATE"));
  const std::string checkpoint = "PRAGMA wal_checkpoint";

  EXPECT_EQ(FirstField(Ask(db, checkpoint), "busy"), "1");
  ASSERT_TRUE(Executes(writer, "COMMIT"));
  EXPECT_EQ(FirstField(Ask(db, checkpoint), "busy"), "0");
}

TEST_F(WriteLockTest, PassiveCheckpointWithNothingToCopy_TakesNoLock) {
  ASSERT_TRUE(Executes(db, "INSERT INTO t VALUES(1)"));
  EXPECT_EQ(FirstField(Ask(db, "PRAGMA wal_checkpoint;"), "busy"), "0");
  ASSERT_EQ(unlink(lock_path.c_str()), 0);
  usleep(kUntilLookedUp);

  EXPECT_EQ(FirstField(Ask(db, "PRAGMA wal_checkpoint;"), "busy"), "1");
  EXPECT_EQ(access(lock_path.c_str(), F_OK), -1);
  EXPECT_EQ(FirstField(Ask(db, "PRAGMA wal_checkpoint(TRUNCATE)"), "busy"), "0");
  EXPECT_EQ(access(lock_path.c_str(), F_OK), 0);
  ASSERT_TRUE(Executes(db, "INSERT INTO t VALUES(2)"));
  EXPECT_EQ(FirstField(Ask(db, "pragma WAL_CHECKPOINT"), "busy"), "0");
}

TEST_F(WriteLockTest, EveryKindOfWrite_FailsWhileLockIsHeld) {
  ASSERT_TRUE(Executes(db, "CREATE INDEX i ON t(v); INSERT INTO t VALUES(1); ANALYZE"));
  FileLock other(lock_path);
  ASSERT_TRUE(other.taken());
  ExhaustWait(db);

  for (const char* sql :
       {"INSERT INTO t VALUES(2)", "UPDATE t SET v = 3", "DELETE FROM t",
        "REPLACE INTO t VALUES(4)", "CREATE TABLE u(v)", "DROP TABLE t", "REINDEX",
        "ANALYZE", "VACUUM", "BEGIN IMMEDIATE", "BEGIN EXCLUSIVE",
        "PRAGMA user_version = 5", "PRAGMA application_id = 6",
        "PRAGMA journal_mode = DELETE", "INSERT INTO t VALUES(7) RETURNING v",
        "BEGIN; INSERT INTO t VALUES(8)", "SAVEPOINT s; INSERT INTO t VALUES(9)"}) {
    EXPECT_FALSE(Executes(db, sql)) << sql;
    EXPECT_STREQ(VEXODBErrorGet(db.get()), "database is locked") << sql;
    EXPECT_FALSE(InTransaction(db)) << sql;
  }
  EXPECT_EQ(FirstField(Ask(db, "PRAGMA wal_checkpoint"), "busy"), "1");
  EXPECT_EQ(Count(), "1");
}

TEST_F(WriteLockTest, OpeningAndReading_NeverTakeLock) {
  ASSERT_TRUE(Executes(db, "INSERT INTO t VALUES(1)"));
  const Writer writer(path);

  const auto begin = steady_clock::now();
  const Database reader = Connect(path);
  ASSERT_TRUE(Executes(reader,
                       "PRAGMA cache_size = 5000; PRAGMA foreign_keys = ON; "
                       "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL"));
  for (int i = 0; i < 100; ++i) {
    ASSERT_THAT(Values(Ask(reader, "SELECT v FROM t")), ElementsAre("1"));
    ASSERT_TRUE(Executes(reader,
                         "BEGIN; SELECT * FROM t; COMMIT; PRAGMA user_version; "
                         "SAVEPOINT s; SELECT * FROM t; RELEASE s"));
  }
  EXPECT_LT(MillisecondsSince(begin), 5000);
}

TEST_F(WriteLockTest, FirstReader_RebuildsTheIndexWhileAnotherHoldsLock) {
  ASSERT_TRUE(Executes(db, "INSERT INTO t VALUES(1)"));
  db.reset();
  const FileLock other(lock_path);
  ASSERT_TRUE(other.taken());

  const auto begin = steady_clock::now();
  const Database reader = Connect(path);
  EXPECT_THAT(Values(Ask(reader, "PRAGMA journal_mode = WAL; SELECT v FROM t")),
              ElementsAre("1"));
  EXPECT_LT(MillisecondsSince(begin), 5000);
}

TEST_F(WriteLockTest, WaitThatTookTheLock_StatementFails_ReleasesLock) {
  ASSERT_TRUE(Executes(db, "CREATE UNIQUE INDEX i ON t(v); INSERT INTO t VALUES(1)"));
  FileLock other(lock_path);
  ASSERT_TRUE(other.taken());
  std::thread later([&] {
    usleep(200 * 1000);
    other.Release();
  });

  EXPECT_FALSE(Executes(db, "INSERT INTO t VALUES(1)"));
  later.join();
  EXPECT_THAT(VEXODBErrorGet(db.get()), HasSubstr("UNIQUE"));
  EXPECT_TRUE(IsFree());
}

TEST_F(WriteLockTest, SharedCacheOfTheProgram_IsNotUsed) {
  InChild([this] {
    sqlite3_enable_shared_cache(1);
    const Database one = Connect(path);
    const Database two = Connect(path);
    EXPECT_TRUE(Executes(one, "INSERT INTO t VALUES(1)"));
    EXPECT_TRUE(Executes(two, "INSERT INTO t VALUES(2)"));
  });
}

TEST_F(WriteLockTest, Reader_DoesNotCreateLockFile) {
  db.reset();  // so that the reader is the first, and must build the index of the log
  ASSERT_EQ(unlink(lock_path.c_str()), 0);
  const Database reader = Connect(path);
  ASSERT_TRUE(Executes(reader, "PRAGMA journal_mode = WAL; SELECT * FROM t"));

  EXPECT_EQ(access(lock_path.c_str(), F_OK), -1);
}

TEST_F(WriteLockTest, Transaction_HoldsLockFromFirstWriteToEnd) {
  for (const char* end : {"COMMIT", "ROLLBACK"}) {
    ASSERT_TRUE(Executes(db, "BEGIN; SELECT * FROM t"));
    EXPECT_TRUE(IsFree());
    ASSERT_TRUE(Executes(db, "INSERT INTO t VALUES(1)"));
    EXPECT_FALSE(IsFree());
    ASSERT_TRUE(Executes(db, "SELECT * FROM t"));
    EXPECT_FALSE(IsFree());
    ASSERT_TRUE(Executes(db, end));
    EXPECT_TRUE(IsFree()) << end;
  }
  EXPECT_FALSE(Executes(db, "BEGIN IMMEDIATE; INSERT INTO t VALUES(1); oops"));
  EXPECT_TRUE(IsFree());
  EXPECT_EQ(Count(), "1");
}

TEST_F(WriteLockTest, FailedStatement_ReleasesLock) {
  ASSERT_TRUE(Executes(db, "CREATE UNIQUE INDEX i ON t(v); INSERT INTO t VALUES(1)"));

  EXPECT_FALSE(Executes(db, "INSERT INTO t VALUES(1)"));
  EXPECT_TRUE(IsFree());
}

TEST_F(WriteLockTest, TwoConnectionsOfOneProcess_ExcludeEachOther) {
  const Database other = Connect(path);
  ASSERT_TRUE(Executes(db, "BEGIN IMMEDIATE"));
  ExhaustWait(other);

  EXPECT_FALSE(Executes(other, "BEGIN IMMEDIATE"));
  ASSERT_TRUE(Executes(db, "COMMIT"));
}

TEST_F(WriteLockTest, ReadTransaction_WaitsForLockAndWritesIfNothingChanged) {
  ASSERT_TRUE(Executes(db, "BEGIN; SELECT * FROM t"));
  FileLock other(lock_path);
  ASSERT_TRUE(other.taken());
  std::thread later([&other] {
    usleep(300 * 1000);
    other.Release();
  });

  EXPECT_TRUE(Executes(db, "INSERT INTO t VALUES(1); COMMIT"))
      << VEXODBErrorGet(db.get());
  later.join();
}

TEST_F(WriteLockTest, LastClose_LockHeld_SkipsCheckpoint) {
  const std::string other_path = dir.Write("other.db", "");
  Database other = Connect(other_path);
  ASSERT_TRUE(Executes(other, "PRAGMA journal_mode=WAL; CREATE TABLE t(v)"));
  const FileLock lock(other_path + "-lock");
  ASSERT_TRUE(lock.taken());

  const auto begin = steady_clock::now();
  other.reset();
  EXPECT_LT(MillisecondsSince(begin), 5000);
  struct stat status = {};
  ASSERT_EQ(stat((other_path + "-wal").c_str(), &status), 0);
  EXPECT_GT(status.st_size, 0);
}

TEST_F(WriteLockTest, LongLog_CommitRunsCheckpoint) {
  ASSERT_TRUE(Executes(db,
                       "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                       "WHERE i < 1500) INSERT INTO t SELECT zeroblob(4000) FROM n"));
  struct stat status = {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_GT(status.st_size, 1500 * 4000);
}

TEST_F(WriteLockTest, Checkpoint_WriterWaits_IsPostponed) {
  ASSERT_TRUE(Executes(db, "INSERT INTO t VALUES(1)"));
  FileLock waiter(lock_path, F_RDLCK, 1);
  ASSERT_TRUE(waiter.taken());
  EXPECT_EQ(FirstField(Ask(db, "PRAGMA wal_checkpoint"), "busy"), "1");

  waiter.Release();
  EXPECT_EQ(FirstField(Ask(db, "PRAGMA wal_checkpoint"), "busy"), "0");
}

TEST_F(WriteLockTest, LockFile_CreatedByRoot_BelongsToSystemAccount) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  struct stat status = {};
  ASSERT_EQ(stat(lock_path.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 1U);
  EXPECT_EQ(status.st_gid, 1U);
  EXPECT_EQ(status.st_mode & 07777, 0660U);
  EXPECT_EQ(status.st_size, 0);
}

TEST_F(WriteLockTest, LockFileRemoved_IsCreatedAgainAndStillExcludes) {
  const Database other = Connect(path);
  ASSERT_TRUE(Executes(other, "INSERT INTO t VALUES(1)"));
  ASSERT_EQ(unlink(lock_path.c_str()), 0);
  usleep(kUntilLookedUp);

  ASSERT_TRUE(Executes(db, "BEGIN IMMEDIATE"));  // both have the removed file open
  ExhaustWait(other);
  EXPECT_FALSE(Executes(other, "INSERT INTO t VALUES(2)"));
  ASSERT_TRUE(Executes(db, "COMMIT"));
}

TEST_F(WriteLockTest, LockFileCannotBeOpened_LogsAndWritesNothing) {
  ASSERT_EQ(unlink(lock_path.c_str()), 0);
  ASSERT_EQ(symlink("elsewhere", lock_path.c_str()), 0);
  const LogCapture log;
  const Database other = Connect(path);

  EXPECT_FALSE(Executes(other, "INSERT INTO t VALUES(1)"));
  EXPECT_THAT(VEXODBErrorGet(other.get()), HasSubstr("test.db-lock: cannot lock"));
  EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("test.db-lock: cannot lock")));
  EXPECT_EQ(access(dir.Path("elsewhere").c_str(), F_OK), -1);
  EXPECT_EQ(Count(), "0");
}

TEST_F(WriteLockTest, LockFileRenamed_IsCreatedAgainAndStillExcludes) {
  const Database other = Connect(path);
  ASSERT_TRUE(Executes(other, "INSERT INTO t VALUES(1)"));
  ASSERT_EQ(rename(lock_path.c_str(), dir.Path("elsewhere").c_str()), 0);
  usleep(kUntilLookedUp);

  ASSERT_TRUE(Executes(db, "BEGIN IMMEDIATE"));
  EXPECT_EQ(FirstField(Ask(other, "PRAGMA wal_checkpoint"), "busy"), "1");
  ASSERT_TRUE(Executes(db, "COMMIT"));
}

TEST_F(WriteLockTest, LockFile_HasOwnerAndModeOfTheDatabase) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
  ASSERT_EQ(chmod(dir.Path("").c_str(), 0777), 0);
  const std::string own = dir.Write("own.db", "");
  ASSERT_EQ(chmod(own.c_str(), 0640), 0);
  ASSERT_EQ(chown(own.c_str(), kNobody, kNobody), 0);

  EXPECT_TRUE(Executes(Connect(own), "PRAGMA journal_mode=WAL; CREATE TABLE t(v)"));
  InChild([&own] {
    BecomeForGood(kNobody, {});
    EXPECT_TRUE(Executes(Connect(own), "INSERT INTO t VALUES(1)"));
    struct stat status = {};
    EXPECT_EQ(stat((own + "-lock").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, kNobody);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
  });
}

TEST_F(WriteLockTest, WriterKilled_LockIsReleasedAndTransactionRolledBack) {
  for (int i = 0; i < 20; ++i) {
    Writer writer(path);
    EXPECT_FALSE(IsFree());
    writer.Kill();
    EXPECT_TRUE(IsFree());
    ASSERT_TRUE(Executes(db, "INSERT INTO t VALUES('kept')"));
  }
  EXPECT_EQ(Count(), "20");
  EXPECT_THAT(Values(Ask(db, "SELECT integrity_check AS v FROM pragma_integrity_check")),
              ElementsAre("ok"));
}

TEST_F(WriteLockTest, OwnerKilled_ForkedChildDoesNotKeepLock) {
  int forked[2];
  int end[2];
  ASSERT_EQ(pipe(forked), 0);
  ASSERT_EQ(pipe(end), 0);
  const pid_t owner = StartTest([&] {
    const Database own = Connect(path);
    EXPECT_TRUE(Executes(own, "BEGIN IMMEDIATE"));
    if (fork() == 0) {  // has copies of every descriptor, and lives on
      EXPECT_EQ(write(forked[1], "x", 1), 1);
      close(end[1]);
      char byte;
      EXPECT_EQ(read(end[0], &byte, 1), 0);
      _exit(0);
    }
    pause();
  });
  char byte;
  ASSERT_EQ(read(forked[0], &byte, 1), 1);
  EXPECT_FALSE(IsFree());

  kill(owner, SIGKILL);
  waitpid(owner, nullptr, 0);
  EXPECT_TRUE(IsFree());
  for (const int fd : {forked[0], forked[1], end[0], end[1]}) close(fd);
}

TEST_F(WriteLockTest, ForkedChild_NeitherHoldsNorReleasesLock) {
  ASSERT_TRUE(Executes(db, "BEGIN IMMEDIATE"));
  InChild([this] {
    EXPECT_FALSE(IsFree());
    const Database own = Connect(path);
    ExhaustWait(own);
    EXPECT_FALSE(Executes(own, "INSERT INTO t VALUES(1)"));
  });
  EXPECT_FALSE(IsFree());
  EXPECT_TRUE(Executes(db, "COMMIT"));
}

TEST_F(WriteLockTest, SignalWithoutRestart_EndsTheWait) {
  const Writer writer(path);

  const auto begin = steady_clock::now();
  const Alarm alarm(100, 0);
  EXPECT_FALSE(Executes(db, "INSERT INTO t VALUES(1)"));
  EXPECT_LT(MillisecondsSince(begin), 5000);
  EXPECT_STREQ(VEXODBErrorGet(db.get()), "interrupted");
}

TEST_F(WriteLockTest, SignalWithRestart_DoesNotEndTheWait) {
  Writer writer(path);
  std::thread later([&writer] {
    usleep(400 * 1000);
    writer.Kill();
  });

  const Alarm alarm(100, SA_RESTART);
  EXPECT_TRUE(Executes(db, "INSERT INTO t VALUES(1)"));
  later.join();
  EXPECT_EQ(Count(), "1");
}
