#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base_db.h"
#include "child_process.h"
#include "entry.h"
#include "entry_db.h"
#include "legal_records.h"
#include "log_capture.h"
#include "result.h"
#include "session.h"
#include "session_db.h"
#include "sharing_db.h"
#include "system_test.h"
#include "token.h"
#include "token_db.h"

using fakes::LegalSession;
using fakes::LegalToken;
using fakes::LogCapture;
using system_test::kDatabase;
using system_test::kSchemaFolder;
using system_test::Link;
using system_test::ReadFile;
using system_test::SqlValue;
using system_test::WriteFile;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using VEXO::sharing::UID_ERR;
using VEXO::sharing::db::BaseDB;
using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::kApplicationId;
using VEXO::sharing::db::Result;
using VEXO::sharing::db::Row;
using VEXO::sharing::db::SessionDB;
using VEXO::sharing::db::SharingDB;
using VEXO::sharing::db::TokenDB;
using VEXO::sharing::record::Entry;
using VEXO::sharing::record::Session;
using VEXO::sharing::record::Token;

namespace {

std::string SchemaFile(int version) {
  return std::string(kSchemaFolder) + "/" + std::to_string(version) + ".sql";
}

std::string Version() { return SqlValue(kDatabase, "PRAGMA user_version"); }

std::string Tables() {
  return SqlValue(kDatabase,
                  "SELECT group_concat(name) FROM (SELECT name FROM sqlite_master WHERE "
                  "type = 'table' AND name NOT LIKE 'sqlite%' ORDER BY name)");
}

}  // namespace

TEST(Schema, NewDatabase_HasTheApplicationIdAlsoAfterItsSchemaFilesRunAgain) {
  { const SharingDB db; }
  EXPECT_EQ(SqlValue(kDatabase, "PRAGMA application_id"), std::to_string(kApplicationId));

  SqlValue(kDatabase, "PRAGMA user_version = 0");
  { const SharingDB db; }
  EXPECT_EQ(SqlValue(kDatabase, "PRAGMA application_id"), std::to_string(kApplicationId));
  EXPECT_EQ(Version(), "2");
}

TEST(Schema, DatabaseOfVersion1WithoutApplicationId_IsUpgradedAndKeepsNone) {
  { const SharingDB db; }
  SqlValue(kDatabase, "PRAGMA application_id = 0; PRAGMA user_version = 1");

  EXPECT_TRUE(SharingDB().IsGood());
  EXPECT_EQ(SqlValue(kDatabase, "PRAGMA application_id"), "0");
}

TEST(Schema, MissingFile_EndsGoodAtVersion2) {
  LogCapture log;

  SharingDB db;

  EXPECT_TRUE(db.IsGood());
  EXPECT_EQ(Version(), "2");
  EXPECT_EQ(Tables(), "entry,session,token");
  EXPECT_EQ(SqlValue(kDatabase, "PRAGMA journal_mode"), "wal");
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Schema, EmptyFile_EndsGoodAtVersion2) {
  WriteFile(kDatabase, "");
  ASSERT_EQ(chown(kDatabase, 1, 1), 0);

  SharingDB db;

  EXPECT_TRUE(db.IsGood());
  EXPECT_EQ(Version(), "2");
}

TEST(Schema, Columns_HaveTheOrderOfTheRecordsFieldsAfterTheId) {
  SharingDB db;

  const std::string columns = "SELECT group_concat(name) FROM pragma_table_info('";
  EXPECT_EQ(SqlValue(kDatabase, columns + "entry')"),
            "id,hash,project_name,enabled,owner_uid,start_at,expire_at,expire_times,"
            "use_count,auto_gc,data");
  EXPECT_EQ(SqlValue(kDatabase, columns + "session')"), "id,session_id,uid,ip,timeout");
  EXPECT_EQ(SqlValue(kDatabase, columns + "token')"), "id,entry_id,session_id,timeout");
}

TEST(Schema, TimesCountsFlagsAndIds_HaveIntegerType) {
  SharingDB db;
  Entry link = Link("link");
  Session session = LegalSession("session");
  ASSERT_TRUE(EntryDB(db).Create(link));
  ASSERT_TRUE(SessionDB(db).Create(session));
  Token token = LegalToken(link.get_id(), session.get_id());

  ASSERT_TRUE(TokenDB(db).Create(token));

  EXPECT_EQ(SqlValue(kDatabase,
                     "SELECT typeof(id)||typeof(enabled)||typeof(owner_uid)||"
                     "typeof(start_at)||typeof(expire_at)||typeof(expire_times)||"
                     "typeof(use_count)||typeof(auto_gc) FROM entry"),
            "integerintegerintegerintegerintegerintegerintegerinteger");
  EXPECT_EQ(
      SqlValue(kDatabase, "SELECT typeof(id)||typeof(uid)||typeof(timeout) FROM session"),
      "integerintegerinteger");
  EXPECT_EQ(SqlValue(kDatabase,
                     "SELECT typeof(id)||typeof(entry_id)||typeof(session_id)||"
                     "typeof(timeout) FROM token"),
            "integerintegerintegerinteger");
}

TEST(Schema, SecondLinkOfAHash_IsRefused) {
  SharingDB db;
  EntryDB links(db);
  Entry first = Link("same");
  Entry second = Link("same");
  ASSERT_TRUE(links.Create(first));

  EXPECT_FALSE(links.Create(second));

  EXPECT_THAT(db.GetLastError(), HasSubstr("entry.hash"));
  EXPECT_EQ(SqlValue(kDatabase, "SELECT count(*) FROM entry"), "1");
}

TEST(Schema, SecondSessionOfAnId_IsRefused) {
  SharingDB db;
  SessionDB sessions(db);
  Session first = LegalSession("same");
  Session second = LegalSession("same");
  ASSERT_TRUE(sessions.Create(first));

  EXPECT_FALSE(sessions.Create(second));

  EXPECT_THAT(db.GetLastError(), HasSubstr("session.session_id"));
  EXPECT_EQ(SqlValue(kDatabase, "SELECT count(*) FROM session"), "1");
}

TEST(Schema, Ids_AreNeverUsedTwice) {
  SharingDB db;
  EntryDB links(db);
  SessionDB sessions(db);
  TokenDB tokens(db);
  Entry link = Link("a");
  Session session = LegalSession("a");
  Token token = LegalToken(7, 7);
  ASSERT_TRUE(links.Create(link) && sessions.Create(session) && tokens.Create(token));
  ASSERT_TRUE(links.Delete(link) && sessions.Delete(session) && tokens.Delete(token));

  Entry next_link = Link("b");
  Session next_session = LegalSession("b");
  Token next_token = LegalToken(7, 7);
  ASSERT_TRUE(links.Create(next_link) && sessions.Create(next_session) &&
              tokens.Create(next_token));

  EXPECT_GT(next_link.get_id(), link.get_id());
  EXPECT_GT(next_session.get_id(), session.get_id());
  EXPECT_GT(next_token.get_id(), token.get_id());
}

TEST(Schema, DeletedLink_DeletesItsTokens) {
  SharingDB db;
  EntryDB links(db);
  TokenDB tokens(db);
  Entry gone = Link("gone");
  Entry kept = Link("kept");
  ASSERT_TRUE(links.Create(gone) && links.Create(kept));
  Token first = LegalToken(gone.get_id(), 1);
  Token second = LegalToken(gone.get_id(), 2);
  Token other = LegalToken(kept.get_id(), 1);
  ASSERT_TRUE(tokens.Create(first) && tokens.Create(second) && tokens.Create(other));

  EXPECT_TRUE(links.Delete(gone));

  EXPECT_EQ(SqlValue(kDatabase, "SELECT group_concat(id) FROM token"),
            std::to_string(other.get_id()));
}

TEST(Schema, DeletedSession_DeletesItsTokens) {
  SharingDB db;
  SessionDB sessions(db);
  TokenDB tokens(db);
  Session gone = LegalSession("gone");
  Session kept = LegalSession("kept");
  ASSERT_TRUE(sessions.Create(gone) && sessions.Create(kept));
  Token first = LegalToken(1, gone.get_id());
  Token other = LegalToken(1, kept.get_id());
  ASSERT_TRUE(tokens.Create(first) && tokens.Create(other));

  EXPECT_TRUE(sessions.DeleteBySessionId("gone"));

  EXPECT_EQ(SqlValue(kDatabase, "SELECT group_concat(id) FROM token"),
            std::to_string(other.get_id()));
}

TEST(Schema, Token_MayBeStoredBeforeItsLinkAndSession) {
  SharingDB db;
  Token token = LegalToken(42, 41);

  EXPECT_TRUE(TokenDB(db).Create(token));
}

TEST(Schema, LiveToken_IsFoundBeforeAnExpiredOneBesideIt) {
  SharingDB db;
  TokenDB tokens(db);
  Session session;
  session.set_id(3);
  Entry link;
  link.set_id(4);
  Token live = LegalToken(4, 3);
  ASSERT_TRUE(db.Execute("INSERT INTO token VALUES (NULL, 4, 3, 5)"));
  ASSERT_TRUE(tokens.Create(live));

  Token found;
  EXPECT_TRUE(tokens.GetBySessionEntry(session, link, found));

  EXPECT_EQ(found.get_id(), live.get_id());
}

TEST(Schema, EachFile_MayRunTwice) {
  SharingDB db;
  Entry link = Link("link");
  ASSERT_TRUE(EntryDB(db).Create(link));

  for (const int version : {1, 1, 2, 2}) {
    EXPECT_TRUE(db.Execute(ReadFile(SchemaFile(version)))) << db.GetLastError();
    EXPECT_EQ(Version(), std::to_string(version));
  }

  EXPECT_EQ(SqlValue(kDatabase, "SELECT hash FROM entry"), "link");
}

TEST(Schema, FileOfVersion1_IsUpgradedWithItsRows) {
  {
    BaseDB old(kDatabase, 0660);
    ASSERT_TRUE(old.Execute(ReadFile(SchemaFile(1)))) << old.GetLastError();
    ASSERT_EQ(Version(), "1");
    ASSERT_TRUE(old.Insert("entry", Link("old").GetFieldList()));
    ASSERT_TRUE(old.Insert("session", LegalSession("old").GetFieldList()));
    ASSERT_TRUE(old.Insert("token", LegalToken(1, 1).GetFieldList()));
  }

  SharingDB db;

  EXPECT_TRUE(db.IsGood());
  EXPECT_EQ(Version(), "2");
  Entry link;
  Session session;
  Token token;
  EXPECT_TRUE(EntryDB(db).GetByHash("old", link));
  EXPECT_TRUE(SessionDB(db).GetBySessionId("old", session));
  EXPECT_TRUE(TokenDB(db).GetBySessionEntry(session, link, token));
}

TEST(Schema, FileOfVersion2OrNewer_RunsNoSchemaFile) {
  for (const int version : {2, 3, 7}) {
    { SharingDB db; }
    SqlValue(kDatabase, "PRAGMA user_version = " + std::to_string(version));
    std::filesystem::remove_all(kSchemaFolder);
    LogCapture log;

    SharingDB db;

    EXPECT_TRUE(db.IsGood());
    EXPECT_EQ(Version(), std::to_string(version));
    EXPECT_THAT(log.lines(), IsEmpty());
  }
}

TEST(Schema, MissingFileOfStep2_LeavesStep1AndIsNotGood) {
  std::filesystem::remove(SchemaFile(2));
  LogCapture log;

  SharingDB db;

  EXPECT_FALSE(db.IsGood());
  EXPECT_EQ(Version(), "1");
  EXPECT_EQ(Tables(), "entry,session,token");
  const std::string pid = " (" + std::to_string(getpid()) + ") ";
  EXPECT_THAT(log.lines(),
              ElementsAre("sharing_db:89" + pid + "file " + SchemaFile(2) +
                              " open failed No such file or directory.\n\n",
                          "sharing_db:64" + pid + "cannot migrate from 1 to 2\n\n"));
}

TEST(Schema, AfterAFailedMigration_EveryStatementFails) {
  std::filesystem::remove(SchemaFile(2));
  SharingDB db;
  LogCapture log;

  EXPECT_FALSE(db.Execute("SELECT 1"));

  EXPECT_THAT(log.lines(), ElementsAre(AllOf(HasSubstr("base_db:339"),
                                             HasSubstr("db is not good.\n\n"))));
}

TEST(Schema, NegativeVersion_RunsStepsFromTheNextOneUp) {
  { SharingDB db; }
  SqlValue(kDatabase, "PRAGMA user_version = -3");
  WriteFile(SchemaFile(-2), "CREATE TABLE step_minus_2 (a);");
  LogCapture log;

  SharingDB db;

  EXPECT_FALSE(db.IsGood());
  EXPECT_EQ(Tables(), "entry,session,step_minus_2,token");
  EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("file " + SchemaFile(-1)),
                                       HasSubstr("cannot migrate from -2 to -1\n\n")));
}

TEST(Schema, FileThatSetsNoVersion_RunsAgainOnEveryOpening) {
  { SharingDB db; }
  SqlValue(kDatabase, "CREATE TABLE runs (a); PRAGMA user_version = 1");
  WriteFile(SchemaFile(2), "INSERT INTO runs VALUES (1);");

  for (const char* const runs : {"1", "2", "3"}) {
    SharingDB db;

    EXPECT_TRUE(db.IsGood());
    EXPECT_EQ(SqlValue(kDatabase, "SELECT count(*) FROM runs"), runs);
  }
}

TEST(Schema, FailedStep_LeavesNoTransactionOpenAndNoChanges) {
  WriteFile(SchemaFile(2),
            "BEGIN IMMEDIATE; CREATE TABLE half (a); INSERT INTO nowhere VALUES (1);"
            "PRAGMA user_version = 2; COMMIT;");
  LogCapture log;

  SharingDB db;

  EXPECT_FALSE(db.IsGood());
  EXPECT_THAT(log.lines(),
              ElementsAre(HasSubstr("sharing_db:93 (" + std::to_string(getpid()) +
                                    ") Failed [!pdb_->Execute(sstr.str().c_str())], "
                                    "err="),
                          HasSubstr("sharing_db:64 (" + std::to_string(getpid()) +
                                    ") cannot migrate from 1 to 2\n\n")));
  // Written while `db` is still open: it holds no lock.
  EXPECT_EQ(
      SqlValue(kDatabase, "INSERT INTO token VALUES (NULL,1,1,1); SELECT 'written'"),
      "written");
  EXPECT_EQ(Tables(), "entry,session,token");
}

// In each file a statement in the middle fails.
TEST(Schema, EachFile_RunsCompletelyOrNotAtAll) {
  { BaseDB db(kDatabase, 0660); }
  SqlValue(kDatabase, "CREATE TABLE other (a); CREATE INDEX token ON other (a)");
  EXPECT_FALSE(SharingDB().IsGood());
  EXPECT_EQ(Version(), "0");
  EXPECT_EQ(Tables(), "other");

  SqlValue(kDatabase, "DROP TABLE other; CREATE TABLE token_deadline (a)");
  EXPECT_FALSE(SharingDB().IsGood());
  EXPECT_EQ(Version(), "1");
  EXPECT_EQ(SqlValue(kDatabase,
                     "SELECT count(*) FROM sqlite_master WHERE type != 'table' AND name "
                     "NOT LIKE 'sqlite%'"),
            "0");

  SqlValue(kDatabase, "DROP TABLE token_deadline");
  EXPECT_TRUE(SharingDB().IsGood());
  EXPECT_EQ(Version(), "2");
}

// The database has everything that the file creates, so that only BEGIN needs the lock. A
// transaction that began with a read could not write while the lock is held.
TEST(Schema, EachFile_WaitsForALock) {
  SharingDB db;
  for (const int version : {1, 2}) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t holder = fakes::StartChild([&] {
      BaseDB other(kDatabase, 0660);
      if (!other.Execute("BEGIN IMMEDIATE")) return false;
      if (write(ready[1], "x", 1) != 1) return false;
      usleep(500000);
      return other.Execute("COMMIT");
    });
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);

    EXPECT_TRUE(db.Execute(ReadFile(SchemaFile(version)))) << db.GetLastError();

    EXPECT_TRUE(fakes::EndsWell(holder));
    close(ready[0]);
    close(ready[1]);
  }
}

TEST(Schema, SixteenProcessesOpeningAMissingDatabaseAtOnce_AllEndGoodAHundredTimes) {
  for (int round = 0; round < 100; ++round) {
    const std::string path =
        std::string(system_test::kDatabaseFolder) + "/" + std::to_string(round) + ".db";
    int gate[2];
    ASSERT_EQ(pipe(gate), 0);
    std::vector<pid_t> children;
    for (int i = 0; i < 16; ++i) {
      children.push_back(fakes::StartChild([&] {
        close(gate[1]);
        char byte = 0;
        if (read(gate[0], &byte, 1) != 0) return false;  // all start when the gate closes
        SharingDB db(path);
        Entry link = Link("link of process " + std::to_string(i));
        return db.IsGood() && EntryDB(db).Create(link);
      }));
    }
    close(gate[0]);
    close(gate[1]);

    int good = 0;
    for (const pid_t child : children) good += fakes::EndsWell(child) ? 1 : 0;
    ASSERT_EQ(good, 16) << "in round " << round;
    ASSERT_EQ(SqlValue(path, "PRAGMA user_version"), "2");
    ASSERT_EQ(SqlValue(path, "SELECT count(*) FROM entry"), "16");
    ASSERT_EQ(SqlValue(path, "PRAGMA integrity_check"), "ok");
  }
}

namespace {

/// A database with `rows` rows in each table.  A fixed number of them belongs to the
/// owner 7, has expired or has reached the use limit.
class FilledDatabase {
 public:
  explicit FilledDatabase(int rows)
      : path_(std::string(system_test::kDatabaseFolder) + "/" + std::to_string(rows) +
              ".db") {
    SharingDB db(path_);
    const std::string n =
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
        std::to_string(rows) + ") ";
    for (const char* const insert : {
             "INSERT INTO entry SELECT NULL, 'hash' || i, 'p' || (i % 2), 1, "
             "CASE WHEN i <= 5 THEN 7 ELSE 1000 + i END, 0, "
             "CASE WHEN i IN (1, 2, 11, 12, 13) OR i % 10 = 0 THEN 5 "
             "WHEN i % 2 THEN 0 ELSE 99999999999 END, "
             "5, CASE WHEN i IN (4, 21, 22, 23) THEN 5 ELSE 0 END, i % 10 != 0, '{}' "
             "FROM n",
             "INSERT INTO session SELECT NULL, 'session' || i, 1, '192.0.2.1', "
             "CASE WHEN i <= 4 THEN 5 ELSE 99999999999 END FROM n",
             "INSERT INTO token SELECT NULL, i, i, "
             "CASE WHEN i BETWEEN 31 AND 34 THEN 5 ELSE 99999999999 END FROM n",
         }) {
      EXPECT_TRUE(db.Execute(n + insert)) << db.GetLastError();
    }
  }

  /// Steps of SQLite's virtual machine for a statement.  Its changes are rolled back.
  int Steps(const std::string& sql) const {
    sqlite3* handle = nullptr;
    EXPECT_EQ(sqlite3_open(path_.c_str(), &handle), SQLITE_OK);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> owner(handle, sqlite3_close);
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_exec(handle, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr),
              SQLITE_OK);
    EXPECT_EQ(sqlite3_prepare_v2(handle, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
        << sql;
    while (sqlite3_step(statement) == SQLITE_ROW) {
    }
    const int steps = sqlite3_stmt_status(statement, SQLITE_STMTSTATUS_VM_STEP, 0);
    EXPECT_EQ(sqlite3_finalize(statement), SQLITE_OK) << sqlite3_errmsg(handle);
    EXPECT_EQ(sqlite3_exec(handle, "ROLLBACK", nullptr, nullptr, nullptr), SQLITE_OK);
    return steps;
  }

 private:
  const std::string path_;
};

}  // namespace

TEST(Schema, EveryLookupAndPurgeButOne_CostsTheSameOnATableTenTimesAsLarge) {
  const FilledDatabase small(200);
  const FilledDatabase large(2000);
  SharingDB db;  // empty; shows which statement each operation runs
  EntryDB links(db);
  SessionDB sessions(db);
  TokenDB tokens(db);
  Entry link;
  Session session;
  Token token;
  link.set_id(50);
  session.set_id(50);
  token.set_entry_id(50);

  const std::vector<std::function<void()>> operations = {
      [&] { links.GetById(50, link); },
      [&] { links.GetByHash("hash50", link); },
      [&] { links.GetByToken(token, link); },
      [&] { links.Delete(50); },
      [&] { links.PurgeExpired(1.0F); },
      [&] { links.DeleteByOwnerUid(7); },
      [&] { links.PurgeExpiredByOwnerProject(7, ""); },
      [&] { links.PurgeExpiredByOwnerProject(7, "p1"); },
      [&] { sessions.GetById(50, session); },
      [&] { sessions.GetBySessionId("session50", session); },
      [&] { sessions.DeleteBySessionId("session50"); },
      [&] { sessions.Delete(50); },
      [&] { sessions.PurgeExpired(1.0F); },
      [&] { tokens.GetById(50, token); },
      [&] { tokens.GetBySessionEntry(session, link, token); },
      [&] { tokens.Delete(50); },
      [&] { tokens.PurgeByEntry(link); },
      [&] { tokens.PurgeExpired(1.0F); },
  };
  for (const std::function<void()>& operation : operations) {
    operation();
    const std::string sql = db.GetLastQuery();
    EXPECT_GT(small.Steps(sql), 0);
    EXPECT_EQ(small.Steps(sql), large.Steps(sql)) << sql;
  }
}

TEST(Schema, PurgeOfTheLinksOfAllOwners_ScansTheTable) {
  const FilledDatabase small(200);
  const FilledDatabase large(2000);
  SharingDB db;
  EntryDB links(db);

  ASSERT_TRUE(links.PurgeExpiredByOwnerProject(UID_ERR, "p1"));

  EXPECT_GT(large.Steps(db.GetLastQuery()), 5 * small.Steps(db.GetLastQuery()));
}
