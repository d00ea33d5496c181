#include "vexo/db.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "child_process.h"
#include "database_support.h"
#include "support.h"
#include "temp_dir.h"
#include "vexo/core.h"

using fakes::TempDir;
using testing::HasSubstr;

namespace {

constexpr uid_t kNobody = 65534;

std::string Escaped(const std::string& text) {
  std::string buffer(2 * text.size() + 1, '\0');
  const int length =
      VEXODBEscapeStringEX2(0, buffer.data(), buffer.size(), text.data(), text.size());
  EXPECT_GE(length, 0);
  return buffer.substr(0, length);
}

class DbTest : public testing::Test {
 protected:
  TempDir dir;
  const std::string path = dir.Write("test.db", "");
  const Database db = Connect(path);
};

using DbConnect = DbTest;
using DbExecute = DbTest;
using DbFetch = DbTest;
using DbLocks = DbTest;

}  // namespace

TEST_F(DbConnect, MissingFile_IsNullAndNothingIsCreated) {
  const std::string missing = dir.Path("missing.db");

  EXPECT_EQ(Connect(missing), nullptr);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(VLIBCFileExist(missing.c_str()), 0);
}

TEST_F(DbConnect, NoPath_IsNull) {
  EXPECT_EQ(VEXODBConnect("", "", "", nullptr), nullptr);
  EXPECT_EQ(VEXODBConnect("", "", "", ""), nullptr);
  EXPECT_EQ(VEXODBConnect("", "", "", ":memory:"), nullptr);
}

TEST_F(DbConnect, Folder_IsNull) {
  EXPECT_EQ(Connect(dir.Path("")), nullptr);
  EXPECT_EQ(errno, EISDIR);
}

TEST_F(DbConnect, Fifo_IsNullAndDoesNotBlock) {
  ASSERT_EQ(mkfifo(dir.Path("fifo").c_str(), 0600), 0);

  EXPECT_EQ(Connect(dir.Path("fifo")), nullptr);
}

TEST_F(DbConnect, FileThatCanOnlyBeRead_IsNull) {
  ASSERT_TRUE(Executes(db, "CREATE TABLE t(v)"));
  ASSERT_EQ(chmod(path.c_str(), 0444), 0);

  InChild([this] {
    if (geteuid() == 0) BecomeForGood(kNobody, {});
    EXPECT_EQ(access(path.c_str(), R_OK), 0);
    EXPECT_EQ(Connect(path), nullptr);
    EXPECT_EQ(errno, EACCES);
  });
}

TEST_F(DbConnect, FileThatIsNotADatabase_FailsAtTheFirstStatement) {
  const Database other = Connect(dir.Write("text", std::string(4096, 'x')));
  ASSERT_NE(other, nullptr);
  DBResult_tag* rows = reinterpret_cast<DBResult_tag*>(&dir);

  EXPECT_EQ(VEXODBExecute(other.get(), "SELECT * FROM t", &rows), -1);
  EXPECT_EQ(rows, nullptr);
  EXPECT_THAT(VEXODBErrorGet(other.get()), HasSubstr("not a database"));
}

TEST_F(DbExecute, SeveralStatements_GiveTheRowsOfTheLastThatHasColumns) {
  const Rows rows =
      Ask(db,
          "CREATE TABLE t(v); INSERT INTO t VALUES('a'), ('b'); "
          "SELECT 'early' AS v; SELECT v FROM t; DELETE FROM t; -- the end");

  EXPECT_THAT(Values(rows), testing::ElementsAre("a", "b"));
  EXPECT_THAT(Values(Ask(db, "SELECT count(*) AS v FROM t")), testing::ElementsAre("0"));
}

TEST_F(DbExecute, LastSelectFindsNothing_IsAnEmptyResult) {
  const Rows rows = Ask(db, "SELECT 1 AS v; SELECT 2 AS v WHERE 0");

  ASSERT_NE(rows, nullptr);
  EXPECT_THAT(Values(rows), testing::IsEmpty());
}

TEST_F(DbExecute, DatabaseInUtf16_GivesUtf8) {
  const Database utf16 = Connect(dir.Write("utf16", ""));

  const Rows rows = Ask(utf16,
                        "PRAGMA encoding = 'UTF-16'; CREATE TABLE t(v); INSERT INTO t "
                        "VALUES('\xc3\xa4 and more'), (''), (1.5), (NULL); "
                        "SELECT v FROM t");

  EXPECT_THAT(Values(rows), testing::ElementsAre("\xc3\xa4 and more", "", "1.5", ""));
}

TEST_F(DbExecute, RowsLongerThanUsual_AreAllThere) {
  std::vector<std::string> expected;
  for (int i = 0; i < 100; ++i) expected.emplace_back(100 * i, 'x');

  const Rows rows = Ask(db,
                        "WITH RECURSIVE n(i) AS (VALUES(0) UNION ALL SELECT i + 1 FROM n "
                        "WHERE i < 99) SELECT replace(hex(zeroblob(50 * i)), '0', 'x') "
                        "AS v FROM n");

  EXPECT_EQ(Values(rows), expected);
}

TEST_F(DbExecute, NoStatementHasColumns_IsAnEmptyResultAndNotNull) {
  for (const char* sql : {"CREATE TABLE t(v)", "", "  \n", "-- nothing", ";;"}) {
    const Rows rows = Ask(db, sql);

    ASSERT_NE(rows, nullptr) << sql;
    unsigned int row = 77;
    EXPECT_EQ(VEXODBFetchRow(rows.get(), &row), -1);
    EXPECT_EQ(row, 77U);
    EXPECT_EQ(VEXODBFetchField(rows.get(), 0, "v"), nullptr);
  }
}

TEST_F(DbExecute, ThirdStatementFails_StopsThereWithoutRows) {
  ASSERT_TRUE(Executes(db, "CREATE TABLE t(v)"));
  DBResult_tag* rows = reinterpret_cast<DBResult_tag*>(&dir);

  EXPECT_EQ(VEXODBExecute(db.get(),
                          "INSERT INTO t VALUES(1); SELECT 1; INSERT INTO missing "
                          "VALUES(1); INSERT INTO t VALUES(2)",
                          &rows),
            -1);
  EXPECT_EQ(rows, nullptr);
  EXPECT_STREQ(VEXODBErrorGet(db.get()), "no such table: missing");
  EXPECT_THAT(Values(Ask(db, "SELECT v FROM t")), testing::ElementsAre("1"));
}

TEST_F(DbExecute, FailureInATransactionOfTheText_RollsItBack) {
  ASSERT_TRUE(Executes(db, "CREATE TABLE t(v)"));

  EXPECT_FALSE(Executes(db, "BEGIN IMMEDIATE; INSERT INTO t VALUES(1); oops; COMMIT"));
  EXPECT_FALSE(InTransaction(db));
  EXPECT_THAT(VEXODBErrorGet(db.get()), HasSubstr("oops"));
  EXPECT_THAT(Values(Ask(db, "SELECT count(*) AS v FROM t")), testing::ElementsAre("0"));
}

TEST_F(DbExecute, FailureInATransactionOfAnEarlierCall_LeavesItAlone) {
  ASSERT_TRUE(Executes(db, "CREATE TABLE t(v); BEGIN; INSERT INTO t VALUES(1)"));

  EXPECT_FALSE(Executes(db, "INSERT INTO t VALUES(2); oops"));
  EXPECT_TRUE(InTransaction(db));
  EXPECT_TRUE(Executes(db, "COMMIT"));
  EXPECT_THAT(Values(Ask(db, "SELECT v FROM t")), testing::ElementsAre("1", "2"));
}

TEST_F(DbExecute, TextEndsTheEarlierTransactionAndFailsInItsOwn_RollsItsOwnBack) {
  ASSERT_TRUE(Executes(db, "CREATE TABLE t(v); BEGIN; INSERT INTO t VALUES(1)"));

  EXPECT_FALSE(Executes(db, "COMMIT; BEGIN; INSERT INTO t VALUES(2); oops"));
  EXPECT_FALSE(InTransaction(db));
  EXPECT_THAT(Values(Ask(db, "SELECT v FROM t")), testing::ElementsAre("1"));
}

TEST_F(DbExecute, SavepointOfTheText_IsRolledBackToo) {
  ASSERT_TRUE(Executes(db, "CREATE TABLE t(v)"));

  EXPECT_FALSE(Executes(db, "SAVEPOINT s; INSERT INTO t VALUES(1); oops"));
  EXPECT_FALSE(InTransaction(db));
}

TEST_F(DbExecute, NoConnectionOrNoText_IsMinus1) {
  EXPECT_EQ(VEXODBExecute(nullptr, "SELECT 1", nullptr), -1);
  EXPECT_EQ(VEXODBExecute(db.get(), nullptr, nullptr), -1);
}

TEST_F(DbExecute, ErrorText_IsEmptyAtFirstAndKeptAfterASuccess) {
  EXPECT_STREQ(VEXODBErrorGet(db.get()), "");
  EXPECT_FALSE(Executes(db, "oops"));
  const std::string error = VEXODBErrorGet(db.get());

  EXPECT_TRUE(Executes(db, "SELECT 1"));
  EXPECT_EQ(VEXODBErrorGet(db.get()), error);
  EXPECT_NE(VEXODBErrorGet(nullptr), nullptr);
}

TEST_F(DbExecute, SqliteHandle_KnowsTheLastRowId) {
  ASSERT_TRUE(Executes(db, "CREATE TABLE t(id INTEGER PRIMARY KEY, v)"));
  ASSERT_TRUE(
      Executes(db, "INSERT INTO t VALUES(41, 'x'); INSERT INTO t(v) VALUES('y')"));

  EXPECT_EQ(sqlite3_last_insert_rowid(VEXODBSqliteHandle(db.get())), 42);
  EXPECT_EQ(VEXODBSqliteHandle(nullptr), nullptr);
}

TEST_F(DbExecute, StrangeTexts_ComeBackByteForByte) {
  ASSERT_TRUE(Executes(db, "CREATE TABLE t(v)"));
  std::string megabyte;
  while (megabyte.size() < (1 << 20)) megabyte += "0123'456789\xff\n";

  for (const std::string& text :
       {std::string("it's ''quoted'' \"twice\""), std::string("\xff\xfe\xc3(\x80"),
        std::string("'"), std::string(""), megabyte}) {
    ASSERT_TRUE(
        Executes(db, "DELETE FROM t; INSERT INTO t VALUES('" + Escaped(text) + "')"));
    EXPECT_TRUE(Values(Ask(db, "SELECT v FROM t")) == std::vector<std::string>{text});
  }
}

TEST_F(DbExecute, TextWithNul_EndsThereForTheReader) {
  const Rows rows = Ask(db, "SELECT CAST(x'610062' AS TEXT) AS v");

  EXPECT_THAT(Values(rows), testing::ElementsAre("a"));
}

TEST_F(DbExecute, ClosingAndFreeingNull_IsAllowed) {
  VEXODBClose(nullptr);
  VEXODBFreeResult(nullptr);
}

TEST_F(DbFetch, Rows_AreNumberedFromZeroUntilExhausted) {
  const Rows rows = Ask(db, "SELECT 'a' AS v UNION ALL SELECT 'b'");
  unsigned int row = 9;

  EXPECT_EQ(VEXODBFetchRow(rows.get(), &row), 0);
  EXPECT_EQ(row, 0U);
  EXPECT_EQ(VEXODBFetchRow(rows.get(), &row), 0);
  EXPECT_EQ(row, 1U);
  EXPECT_EQ(VEXODBFetchRow(rows.get(), &row), -1);
  EXPECT_EQ(VEXODBFetchRow(rows.get(), &row), -1);
  EXPECT_EQ(row, 1U);
  EXPECT_STREQ(VEXODBFetchField(rows.get(), 0, "v"), "a");
}

TEST_F(DbFetch, NullResult_HasNoRow) {
  unsigned int row = 9;

  EXPECT_EQ(VEXODBFetchRow(nullptr, &row), -1);
  EXPECT_EQ(VEXODBFetchField(nullptr, 0, "v"), nullptr);
  EXPECT_EQ(row, 9U);
}

TEST_F(DbFetch, Field_IsFoundByExactNameAndExistingRowOnly) {
  const Rows rows = Ask(db, "SELECT 1 AS Id, NULL AS empty, 2.5 AS real, x'' AS blob");

  EXPECT_STREQ(VEXODBFetchField(rows.get(), 0, "Id"), "1");
  EXPECT_STREQ(VEXODBFetchField(rows.get(), 0, "empty"), "");
  EXPECT_STREQ(VEXODBFetchField(rows.get(), 0, "real"), "2.5");
  EXPECT_STREQ(VEXODBFetchField(rows.get(), 0, "blob"), "");
  EXPECT_EQ(VEXODBFetchField(rows.get(), 0, "id"), nullptr);
  EXPECT_EQ(VEXODBFetchField(rows.get(), 0, "missing"), nullptr);
  EXPECT_EQ(VEXODBFetchField(rows.get(), 0, nullptr), nullptr);
  EXPECT_EQ(VEXODBFetchField(rows.get(), 1, "Id"), nullptr);
}

TEST_F(DbFetch, Result_OutlivesItsConnection) {
  Database other = Connect(path);
  const Rows rows = Ask(other, "SELECT 'kept' AS v");
  other.reset();

  EXPECT_THAT(Values(rows), testing::ElementsAre("kept"));
}

TEST(DbEscape, Quotes_AreDoubledAndNothingElseChanges) {
  EXPECT_EQ(Escaped("it's"), "it''s");
  EXPECT_EQ(Escaped("'''"), "''''''");
  EXPECT_EQ(Escaped("a\"b\\c%\n\xff"), "a\"b\\c%\n\xff");
  EXPECT_EQ(Escaped(std::string("a\0'b", 4)), std::string("a\0''b", 5));
}

TEST(DbEscape, EmptyText_IsZero) {
  char buffer[] = "x";

  EXPECT_EQ(VEXODBEscapeStringEX2(0, buffer, 0, "", 0), 0);
  EXPECT_EQ(buffer[0], 'x');
  EXPECT_EQ(VEXODBEscapeStringEX2(0, buffer, 1, "", 0), 0);
  EXPECT_EQ(buffer[0], '\0');
}

TEST(DbEscape, TextThatJustFits_HasNoTerminator) {
  char buffer[] = "xxxxx";

  EXPECT_EQ(VEXODBEscapeStringEX2(0, buffer, 4, "a'b", 3), 4);
  EXPECT_STREQ(buffer, "a''bx");
}

TEST(DbEscape, TextThatDoesNotFit_IsMinus1AndNothingIsWritten) {
  char buffer[] = "xxxxx";

  EXPECT_EQ(VEXODBEscapeStringEX2(0, buffer, 3, "a'b", 3), -1);
  EXPECT_STREQ(buffer, "xxxxx");
}

TEST(DbEscape, OtherKindsAndNoBuffer_AreMinus1) {
  char buffer[10];

  EXPECT_EQ(VEXODBEscapeStringEX2(0, nullptr, 10, "a", 1), -1);
  EXPECT_EQ(VEXODBEscapeStringEX2(0, buffer, sizeof(buffer), nullptr, 1), -1);
  EXPECT_EQ(VEXODBEscapeStringEX2(1, buffer, sizeof(buffer), "a", 1), -1);
}

TEST_F(DbLocks, LockHeldForAMoment_IsWaitedFor) {
  ASSERT_TRUE(Executes(db, "CREATE TABLE t(v)"));
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t holder = StartTest([&] {
    const Database other = Connect(path);
    EXPECT_TRUE(Executes(other, "BEGIN EXCLUSIVE; INSERT INTO t VALUES('child')"));
    EXPECT_EQ(write(ready[1], "x", 1), 1);
    usleep(300 * 1000);
    EXPECT_TRUE(Executes(other, "COMMIT"));
  });
  char byte;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);

  EXPECT_TRUE(Executes(db, "INSERT INTO t VALUES('parent')"));
  EXPECT_THAT(Values(Ask(db, "SELECT v FROM t ORDER BY v")),
              testing::ElementsAre("child", "parent"));
  EXPECT_STREQ(VEXODBErrorGet(db.get()), "");
  EXPECT_TRUE(fakes::EndsWell(holder));
  close(ready[0]);
  close(ready[1]);
}

TEST_F(DbLocks, LockHeldForLongerThanTenSeconds_IsAFailureAfterTenSeconds) {
  ASSERT_TRUE(Executes(db, "CREATE TABLE t(v)"));
  const Database holder = Connect(path);
  ASSERT_TRUE(Executes(holder, "BEGIN EXCLUSIVE"));

  const auto begin = steady_clock::now();
  EXPECT_FALSE(Executes(db, "INSERT INTO t VALUES(1)"));
  EXPECT_GE(MillisecondsSince(begin), 10000);
  EXPECT_STREQ(VEXODBErrorGet(db.get()), "database is locked");
}

TEST_F(DbLocks, WaitTimesOut_LaterWritesFailAtOnceUntilLockIsObtained) {
  ASSERT_TRUE(Executes(db, "PRAGMA journal_mode=WAL; CREATE TABLE t(v)"));
  const Database holder = Connect(path);
  ASSERT_TRUE(Executes(holder, "BEGIN IMMEDIATE"));
  ASSERT_FALSE(Executes(db, "INSERT INTO t VALUES(1)"));

  auto begin = steady_clock::now();
  for (int i = 0; i < 51; ++i) EXPECT_FALSE(Executes(db, "INSERT INTO t VALUES(1)"));
  EXPECT_TRUE(Executes(db, "SELECT * FROM t; PRAGMA wal_checkpoint"));
  EXPECT_LT(MillisecondsSince(begin), 5000);  // 51 pauses would be 12 seconds

  // A write within a second belongs to the operation that failed.
  ASSERT_TRUE(Executes(holder, "COMMIT; BEGIN IMMEDIATE; COMMIT"));
  EXPECT_FALSE(Executes(db, "INSERT INTO t VALUES(1)"));
  usleep(1100 * 1000);

  // Later ones wait a little, and as before when a lock was obtained.
  ASSERT_TRUE(Executes(holder, "BEGIN IMMEDIATE"));
  begin = steady_clock::now();
  EXPECT_FALSE(Executes(db, "INSERT INTO t VALUES(1)"));
  EXPECT_LT(MillisecondsSince(begin), 5000);
  ASSERT_TRUE(Executes(holder, "COMMIT"));
  usleep(1100 * 1000);
  EXPECT_TRUE(Executes(db, "INSERT INTO t VALUES(1)"));

  ASSERT_TRUE(Executes(holder, "BEGIN IMMEDIATE"));
  std::thread later([&] {
    usleep(1000 * 1000);
    EXPECT_TRUE(Executes(holder, "COMMIT"));
  });
  EXPECT_TRUE(Executes(db, "INSERT INTO t VALUES(1)"));
  later.join();
}

TEST_F(DbLocks, LongWaitsOfOneOperation_AddUpToTenSeconds) {
  ASSERT_TRUE(Executes(db, "PRAGMA journal_mode=WAL; CREATE TABLE t(v)"));
  const Database holder = Connect(path);
  ASSERT_TRUE(Executes(holder, "BEGIN IMMEDIATE"));
  std::thread later([&] {
    usleep(6 * 1000 * 1000);
    EXPECT_TRUE(Executes(holder, "COMMIT"));
  });

  const auto begin = steady_clock::now();
  ASSERT_TRUE(Executes(db, "INSERT INTO t VALUES(1)"));
  later.join();
  ASSERT_TRUE(Executes(holder, "BEGIN IMMEDIATE"));
  EXPECT_FALSE(Executes(db, "INSERT INTO t VALUES(2)"));
  EXPECT_LT(MillisecondsSince(begin), 14000);  // and not 16
}

TEST_F(DbLocks, ReaderThatCannotBecomeAWriter_FailsAtOnceAndKeepsItsTransaction) {
  ASSERT_TRUE(Executes(db, "PRAGMA journal_mode=WAL; CREATE TABLE t(v)"));
  const Database other = Connect(path);
  ASSERT_TRUE(Executes(db, "BEGIN; SELECT * FROM t"));
  ASSERT_TRUE(Executes(other, "INSERT INTO t VALUES(1)"));

  EXPECT_FALSE(Executes(db, "INSERT INTO t VALUES(2)"));
  EXPECT_EQ(sqlite3_extended_errcode(VEXODBSqliteHandle(db.get())), SQLITE_BUSY_SNAPSHOT);
  EXPECT_TRUE(InTransaction(db));
}

TEST_F(DbLocks, SixteenProcessesSwitchANewFileToWriteAheadLoggingAtOnce_AllSucceed) {
  constexpr int kRounds = 60;
  constexpr int kProcesses = 16;
  for (int round = 0; round < kRounds; ++round) {
    const std::string fresh = dir.Path("fresh" + std::to_string(round));
    int gate[2];
    ASSERT_EQ(pipe(gate), 0);
    std::vector<pid_t> children;
    children.reserve(kProcesses);
    for (int i = 0; i < kProcesses; ++i) {
      children.push_back(StartTest([&] {
        close(gate[1]);
        char byte;
        EXPECT_EQ(read(gate[0], &byte, 1), 0);  // until the parent opens the gate
        EXPECT_EQ(VLIBCFileTouch(fresh.c_str()), 0);
        const Database own = Connect(fresh);
        ASSERT_NE(own, nullptr);
        EXPECT_TRUE(Executes(own,
                             "PRAGMA journal_mode=WAL; CREATE TABLE IF NOT EXISTS t(v); "
                             "INSERT INTO t VALUES('row')"))
            << VEXODBErrorGet(own.get());
      }));
    }
    close(gate[0]);
    close(gate[1]);
    for (const pid_t child : children) EXPECT_TRUE(fakes::EndsWell(child));

    const Database result = Connect(fresh);
    EXPECT_THAT(Values(Ask(result, "SELECT count(*) AS v FROM t")),
                testing::ElementsAre(std::to_string(kProcesses)));
    EXPECT_THAT(Values(Ask(result, "SELECT journal_mode AS v FROM pragma_journal_mode")),
                testing::ElementsAre("wal"));
    if (HasFailure()) break;
  }
}
