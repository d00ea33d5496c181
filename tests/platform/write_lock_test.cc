// The lock that all writers of one database, and all checkpoints, take in turn.

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

#include "child_process.h"
#include "database_support.h"
#include "descriptor.h"
#include "log_capture.h"
#include "support.h"
#include "temp_dir.h"
#include "vexo/db.h"

using fakes::LogCapture;
using fakes::TempDir;
using testing::ElementsAre;
using testing::HasSubstr;
using VEXO::platform::Descriptor;

namespace {

constexpr uid_t kNobody = 65534;

/// The same lock, taken by a program that has no connection.
class ForeignLock {
 public:
  explicit ForeignLock(const std::string& path)
      : file_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0660)) {
    struct flock writer = {};
    writer.l_type = F_WRLCK;
    writer.l_len = 1;
    taken_ = fcntl(file_.get(), F_OFD_SETLK, &writer) == 0;
  }

  bool taken() const { return taken_; }
  void Release() { file_.Reset(-1); }

 private:
  Descriptor file_;
  bool taken_;
};

class WriteLock : public testing::Test {
 protected:
  WriteLock() { EXPECT_TRUE(Executes(db, "PRAGMA journal_mode=WAL; CREATE TABLE t(v)")); }

  bool IsFree() const { return ForeignLock(lock_path).taken(); }
  std::string Count() { return Values(Ask(db, "SELECT count(*) AS v FROM t")).at(0); }
  /// Makes a wait of `connection` end early, so that none of its later ones waits.
  void UseUpThePatience(const Database& connection) const;

  TempDir dir;
  const std::string path = dir.Write("test.db", "");
  const std::string lock_path = path + "-lock";
  Database db = Connect(path);
};

/// A signal that arrives after some time, with a handler that does nothing.
class Alarm {
 public:
  Alarm(int milliseconds, int flags) {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    action.sa_flags = flags;
    sigaction(SIGALRM, &action, &before_);
    const itimerval once = {{0, 0}, {0, milliseconds * 1000}};
    setitimer(ITIMER_REAL, &once, nullptr);
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

void WriteLock::UseUpThePatience(const Database& connection) const {
  const Alarm alarm(20, 0);
  EXPECT_FALSE(Executes(connection, "INSERT INTO t VALUES('never')"));
}

/// A process with a connection of its own that has begun to write, until it is killed.
class Writer {
 public:
  explicit Writer(const std::string& path) {
    int ready[2];
    EXPECT_EQ(pipe(ready), 0);
    const Descriptor read_end(ready[0]);
    Descriptor write_end(ready[1]);
    child_ = StartTest([&] {
      const Database own = Connect(path);
      EXPECT_TRUE(Executes(own, "BEGIN IMMEDIATE; INSERT INTO t VALUES('lost')"));
      EXPECT_EQ(write(write_end.get(), "x", 1), 1);
      pause();
    });
    write_end.Reset(-1);
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

TEST_F(WriteLock, WriterAndCheckpoint_ExcludeEachOther) {
  const Database writer = Connect(path);
  ASSERT_TRUE(Executes(writer, "INSERT INTO t VALUES(1); BEGIN IMMEDIATE"));
  const std::string checkpoint = "PRAGMA wal_checkpoint";

  EXPECT_EQ(FirstField(Ask(db, checkpoint), "busy"), "1");
  ASSERT_TRUE(Executes(writer, "COMMIT"));
  EXPECT_EQ(FirstField(Ask(db, checkpoint), "busy"), "0");
}

TEST_F(WriteLock, EveryKindOfWrite_TakesIt) {
  ASSERT_TRUE(Executes(db, "CREATE INDEX i ON t(v); INSERT INTO t VALUES(1); ANALYZE"));
  ForeignLock other(lock_path);
  ASSERT_TRUE(other.taken());
  UseUpThePatience(db);

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

TEST_F(WriteLock, OpeningAndReading_NeverTakeIt) {
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

TEST_F(WriteLock, ConnectionThatOnlyReads_DoesNotEvenCreateTheFile) {
  db.reset();  // so that the reader is the first, and must build the index of the log
  ASSERT_EQ(unlink(lock_path.c_str()), 0);
  const Database reader = Connect(path);
  ASSERT_TRUE(Executes(reader, "PRAGMA journal_mode = WAL; SELECT * FROM t"));

  EXPECT_EQ(access(lock_path.c_str(), F_OK), -1);
}

TEST_F(WriteLock, Transaction_KeepsItFromItsFirstWriteToItsEnd) {
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

TEST_F(WriteLock, StatementThatFails_ReleasesIt) {
  ASSERT_TRUE(Executes(db, "CREATE UNIQUE INDEX i ON t(v); INSERT INTO t VALUES(1)"));

  EXPECT_FALSE(Executes(db, "INSERT INTO t VALUES(1)"));
  EXPECT_TRUE(IsFree());
}

TEST_F(WriteLock, TwoConnectionsOfOneProcess_ExcludeEachOther) {
  const Database other = Connect(path);
  ASSERT_TRUE(Executes(db, "BEGIN IMMEDIATE"));
  UseUpThePatience(other);

  EXPECT_FALSE(Executes(other, "BEGIN IMMEDIATE"));
  ASSERT_TRUE(Executes(db, "COMMIT"));
}

TEST_F(WriteLock, TransactionThatHasRead_WaitsAndWritesWhenNothingChanged) {
  ASSERT_TRUE(Executes(db, "BEGIN; SELECT * FROM t"));
  ForeignLock other(lock_path);
  ASSERT_TRUE(other.taken());
  std::thread later([&other] {
    usleep(300 * 1000);
    other.Release();
  });

  EXPECT_TRUE(Executes(db, "INSERT INTO t VALUES(1); COMMIT"))
      << VEXODBErrorGet(db.get());
  later.join();
}

TEST_F(WriteLock, LastConnectionThatCloses_RunsItsCheckpointOnlyWithIt) {
  const std::string other_path = dir.Write("other.db", "");
  Database other = Connect(other_path);
  ASSERT_TRUE(Executes(other, "PRAGMA journal_mode=WAL; CREATE TABLE t(v)"));
  const ForeignLock lock(other_path + "-lock");
  ASSERT_TRUE(lock.taken());

  const auto begin = steady_clock::now();
  other.reset();
  EXPECT_LT(MillisecondsSince(begin), 5000);
  struct stat status = {};
  ASSERT_EQ(stat((other_path + "-wal").c_str(), &status), 0);
  EXPECT_GT(status.st_size, 0);
}

TEST_F(WriteLock, LogThatBecameLong_IsCopiedByTheCommitItself) {
  ASSERT_TRUE(Executes(db,
                       "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                       "WHERE i < 1500) INSERT INTO t SELECT zeroblob(4000) FROM n"));
  struct stat status = {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_GT(status.st_size, 1500 * 4000);
}

TEST_F(WriteLock, CheckpointIsLeftToAWriterThatWaits_UnlessNobodyWaits) {
  ASSERT_TRUE(Executes(db, "INSERT INTO t VALUES(1)"));
  const Descriptor waiter(open(lock_path.c_str(), O_RDWR | O_CLOEXEC));
  struct flock waits = {};
  waits.l_type = F_RDLCK;
  waits.l_start = 1;
  waits.l_len = 1;
  ASSERT_EQ(fcntl(waiter.get(), F_OFD_SETLK, &waits), 0);
  EXPECT_EQ(FirstField(Ask(db, "PRAGMA wal_checkpoint"), "busy"), "1");

  waits.l_type = F_UNLCK;
  ASSERT_EQ(fcntl(waiter.get(), F_OFD_SETLK, &waits), 0);
  EXPECT_EQ(FirstField(Ask(db, "PRAGMA wal_checkpoint"), "busy"), "0");
}

TEST_F(WriteLock, File_BelongsToTheSystemAccountWhenRootMakesIt) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  struct stat status = {};
  ASSERT_EQ(stat(lock_path.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 1U);
  EXPECT_EQ(status.st_gid, 1U);
  EXPECT_EQ(status.st_mode & 07777, 0660U);
  EXPECT_EQ(status.st_size, 0);
}

TEST_F(WriteLock, File_ThatIsRemoved_IsReplacedAndStillExcludes) {
  const Database other = Connect(path);
  ASSERT_TRUE(Executes(other, "INSERT INTO t VALUES(1)"));
  ASSERT_EQ(unlink(lock_path.c_str()), 0);

  ASSERT_TRUE(Executes(db, "BEGIN IMMEDIATE"));  // both have the removed file open
  UseUpThePatience(other);
  EXPECT_FALSE(Executes(other, "INSERT INTO t VALUES(2)"));
  ASSERT_TRUE(Executes(db, "COMMIT"));
}

TEST_F(WriteLock, File_ThatCannotBeOpened_IsLoggedAndNothingIsWritten) {
  ASSERT_EQ(unlink(lock_path.c_str()), 0);
  ASSERT_EQ(symlink("elsewhere", lock_path.c_str()), 0);
  const LogCapture log;
  const Database other = Connect(path);

  EXPECT_FALSE(Executes(other, "INSERT INTO t VALUES(1)"));
  EXPECT_STREQ(VEXODBErrorGet(other.get()), "disk I/O error");
  EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("test.db-lock: cannot be locked")));
  EXPECT_EQ(access(dir.Path("elsewhere").c_str(), F_OK), -1);
  EXPECT_EQ(Count(), "0");
}

TEST_F(WriteLock, DatabaseOfAnotherAccount_HasALockFileOfThatAccount) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
  ASSERT_EQ(chmod(dir.Path("").c_str(), 0777), 0);
  InChild([this] {
    BecomeForGood(kNobody, {});
    const std::string own = dir.Write("own.db", "");
    EXPECT_TRUE(Executes(Connect(own), "PRAGMA journal_mode=WAL; CREATE TABLE t(v)"));
    struct stat status = {};
    EXPECT_EQ(stat((own + "-lock").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, kNobody);
  });
}

TEST_F(WriteLock, KilledWriter_LeavesItFreeAndNothingBehind) {
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

TEST_F(WriteLock, ForkedProcess_DoesNotKeepIt) {
  int forked[2];
  int end[2];
  ASSERT_EQ(pipe(forked), 0);
  ASSERT_EQ(pipe(end), 0);
  const pid_t owner = StartTest([&] {
    const Database own = Connect(path);
    EXPECT_TRUE(Executes(own, "BEGIN IMMEDIATE"));
    if (fork() == 0) {  // has copies of every descriptor, and lives on
      close(end[1]);
      char byte;
      EXPECT_EQ(read(end[0], &byte, 1), 0);
      _exit(0);
    }
    EXPECT_EQ(write(forked[1], "x", 1), 1);
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

TEST_F(WriteLock, ForkedProcess_NeitherHasItNorReleasesIt) {
  ASSERT_TRUE(Executes(db, "BEGIN IMMEDIATE"));
  InChild([this] {
    EXPECT_FALSE(IsFree());
    const Database own = Connect(path);
    UseUpThePatience(own);
    EXPECT_FALSE(Executes(own, "INSERT INTO t VALUES(1)"));
  });
  EXPECT_FALSE(IsFree());
  EXPECT_TRUE(Executes(db, "COMMIT"));
}

TEST_F(WriteLock, SignalWithoutRestart_EndsTheWait) {
  const Writer writer(path);

  const auto begin = steady_clock::now();
  const Alarm alarm(100, 0);
  EXPECT_FALSE(Executes(db, "INSERT INTO t VALUES(1)"));
  EXPECT_LT(MillisecondsSince(begin), 5000);
  EXPECT_STREQ(VEXODBErrorGet(db.get()), "interrupted");
}

TEST_F(WriteLock, SignalWithRestart_DoesNotEndTheWait) {
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
