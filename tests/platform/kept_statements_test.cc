// The statements that a connection keeps prepared, and the shorter updates.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "compilations.h"
#include "database_support.h"
#include "temp_dir.h"
#include "vexo/db.h"

using testing::ElementsAre;

namespace {

class KeptStatements : public testing::Test {
 protected:
  KeptStatements() {
    if (!VEXO_KEEP_STATEMENTS) return;
    EXPECT_TRUE(Executes(
        db,
        "PRAGMA journal_mode = WAL; "
        "CREATE TABLE entry(id INTEGER PRIMARY KEY AUTOINCREMENT, hash TEXT NOT NULL "
        "UNIQUE, project_name TEXT, enabled INTEGER, owner_uid INTEGER, start_at "
        "INTEGER, expire_at INTEGER, expire_times INTEGER, use_count INTEGER, auto_gc "
        "INTEGER, data TEXT); "
        "CREATE TABLE session(id INTEGER PRIMARY KEY AUTOINCREMENT, session_id TEXT "
        "UNIQUE, uid INTEGER, ip TEXT, timeout INTEGER); "
        "CREATE TABLE token(id INTEGER PRIMARY KEY AUTOINCREMENT, entry_id INTEGER, "
        "session_id INTEGER, timeout INTEGER); "
        "CREATE INDEX session_deadline ON session(timeout); "
        "CREATE INDEX token_deadline ON token(timeout)"));
    EXPECT_TRUE(Executes(db, kNewEntry));
    EXPECT_TRUE(Executes(db, kNewSession));
    EXPECT_TRUE(Executes(db, kNewToken));
  }

  void SetUp() override {
    if (!VEXO_KEEP_STATEMENTS) GTEST_SKIP() << "built without kept statements";
  }

  off_t LogSize() const {
    struct stat status = {};
    EXPECT_EQ(stat((path + "-wal").c_str(), &status), 0);
    return status.st_size;
  }
  int Changes() const { return sqlite3_changes(VEXODBSqliteHandle(db.get())); }

  static constexpr char kNewEntry[] =
      "INSERT INTO entry VALUES (NULL,'hash','app','1','5','0','0','0','0','1','{}')";
  static constexpr char kNewSession[] =
      "INSERT INTO session VALUES (NULL,'session','7','192.0.2.1','1000')";
  static constexpr char kNewToken[] = "INSERT INTO token VALUES (NULL,'1','1','1000')";
  static constexpr char kSameEntry[] =
      "UPDATE entry SET auto_gc='1',data='{}',enabled='1',expire_at='0',expire_times='0',"
      "hash='hash',owner_uid='5',project_name='app',start_at='0',use_count='0' WHERE "
      "id=1";
  static constexpr char kSameSession[] =
      "UPDATE session SET ip='192.0.2.1',session_id='session',timeout='1000',uid='7' "
      "WHERE id=1";
  static constexpr char kSameToken[] =
      "UPDATE token SET entry_id='1',session_id='1',timeout='1000' WHERE id=1";
  static constexpr char kLaterSession[] =
      "UPDATE session SET ip='192.0.2.1',session_id='session',timeout='2000',uid='7' "
      "WHERE id=1";

  fakes::TempDir dir;
  const std::string path = dir.Write("test.db", "");
  const Database db = Connect(path);
};

}  // namespace

TEST_F(KeptStatements, KnownStatement_RunAgainWithOtherValues_IsNotCompiled) {
  Compilations compilations(VEXODBSqliteHandle(db.get()));
  for (const int round : {1, 2, 3}) {
    compilations.Clear();
    for (const std::string sql :
         {"SELECT * FROM entry WHERE hash = '?'", "SELECT * FROM session WHERE id = ?",
          "SELECT * FROM session WHERE session_id = 'it''s ?'",
          "SELECT * FROM token WHERE session_id = -? AND entry_id = ?",
          "INSERT INTO entry VALUES (NULL,'?','','','','?','?','?','?','?','')",
          "INSERT INTO session VALUES (NULL,'?','','','?')",
          "INSERT INTO token VALUES (NULL,'?','?','?')",
          "UPDATE entry SET auto_gc='1',data='?',enabled='',expire_at='',"
          "expire_times='',hash='hash',owner_uid='',project_name='',start_at='',"
          "use_count='' WHERE id=1",
          "UPDATE session SET ip='',session_id='s',timeout='?',uid='' WHERE id=1",
          "UPDATE token SET entry_id='1',session_id='1',timeout='?' WHERE id=1",
          "BEGIN IMMEDIATE", "DELETE FROM entry WHERE id=5?",
          "DELETE FROM session WHERE session_id = '?'",
          "DELETE FROM token WHERE entry_id = ?", "COMMIT", "BEGIN TRANSACTION",
          "ROLLBACK", "PRAGMA wal_checkpoint;"}) {
      std::string text = sql;
      for (size_t at = 0; (at = text.find('?')) != std::string::npos;) {
        text.replace(at, 1, std::to_string(round));
      }
      EXPECT_TRUE(Executes(db, text)) << text << ": " << VEXODBErrorGet(db.get());
    }
  }
  EXPECT_EQ(compilations.count(), 0);
}

TEST_F(KeptStatements, OtherText_IsCompiledEveryTime) {
  Compilations compilations(VEXODBSqliteHandle(db.get()));
  for (const char* sql : {"SELECT * FROM session WHERE id = 1 ",
                          "SELECT * FROM session WHERE id = 1;",
                          " SELECT * FROM session WHERE id = 1",
                          "SELECT * FROM session WHERE id =  1",
                          "SELECT * FROM session WHERE id = 1 -- x",
                          "SELECT * FROM session WHERE id = /**/1",
                          "select * FROM session WHERE id = 1",
                          "SELECT * FROM session WHERE id = 1.0",
                          "SELECT * FROM session WHERE id = 0x1",
                          "SELECT * FROM session WHERE id = 1e0",
                          "SELECT * FROM session WHERE id = +1",
                          "SELECT * FROM session WHERE id = - 1",
                          "SELECT * FROM session WHERE id = --1\n1",
                          "SELECT * FROM session WHERE id = NULL",
                          "SELECT * FROM session WHERE id = x'31'",
                          "SELECT * FROM session WHERE id = ?",
                          "SELECT * FROM session WHERE id = id",
                          "SELECT * FROM session WHERE id = \"id\"",
                          "SELECT * FROM session WHERE id = 1 OR 1",
                          "SELECT * FROM session WHERE id = 1; SELECT 1",
                          "SELECT * FROM session WHERE id = 1000000000000000000"}) {
    EXPECT_TRUE(Executes(db, sql));
    compilations.Clear();
    EXPECT_TRUE(Executes(db, sql));
    EXPECT_GT(compilations.count(), 0) << sql;
  }
}

TEST_F(KeptStatements, Values_AreThoseOfTheText) {
  ASSERT_TRUE(Executes(db,
                       "INSERT INTO entry VALUES (NULL,'it''s','''','''a''''b''','',"
                       "'-5',-5,-0,007,999999999999999999,'\xff')"));

  const Rows rows = Ask(db, "SELECT * FROM entry WHERE hash = 'it''s'");
  EXPECT_EQ(FirstField(rows, "project_name"), "'");
  EXPECT_EQ(FirstField(rows, "enabled"), "'a''b'");
  EXPECT_EQ(FirstField(rows, "owner_uid"), "");
  EXPECT_EQ(FirstField(rows, "start_at"), "-5");
  EXPECT_EQ(FirstField(rows, "expire_at"), "-5");
  EXPECT_EQ(FirstField(rows, "expire_times"), "0");
  EXPECT_EQ(FirstField(rows, "use_count"), "7");
  EXPECT_EQ(FirstField(rows, "auto_gc"), "999999999999999999");
  EXPECT_EQ(FirstField(rows, "data"), "\xff");
}

TEST_F(KeptStatements, NoTransactionStaysOpen) {
  ASSERT_TRUE(Executes(db, "SELECT * FROM entry WHERE hash = 'hash'"));
  ASSERT_TRUE(Executes(db, kSameSession));
  EXPECT_FALSE(Executes(db, kNewEntry));  // the hash is not unique

  const Database other = Connect(path);
  EXPECT_EQ(FirstField(Ask(other, "PRAGMA wal_checkpoint(TRUNCATE)"), "busy"), "0");
}

TEST_F(KeptStatements, SchemaChangedByAnotherConnection_IsSeen) {
  const Database other = Connect(path);
  const std::string select = "SELECT * FROM session WHERE session_id = 'session'";
  ASSERT_EQ(FirstField(Ask(db, select), "more"), "none");

  ASSERT_TRUE(Executes(other, "ALTER TABLE session ADD COLUMN more DEFAULT 'new'"));
  EXPECT_EQ(FirstField(Ask(db, select), "more"), "new");
  ASSERT_TRUE(Executes(other, "DROP TABLE session"));
  EXPECT_FALSE(Executes(db, select));
  EXPECT_STREQ(VEXODBErrorGet(db.get()), "no such table: session");
}

TEST_F(KeptStatements, TableOfAnAttachedDatabase_IsHiddenByANewOne) {
  const Database other = Connect(path);
  const std::string select = "SELECT * FROM token WHERE id = 1";
  ASSERT_TRUE(Executes(db,
                       "DROP TABLE token; ATTACH ':memory:' AS attached; CREATE TABLE "
                       "attached.token(id, v); INSERT INTO token VALUES(1, 'attached')"));
  ASSERT_THAT(Values(Ask(db, select)), ElementsAre("attached"));

  ASSERT_TRUE(
      Executes(other, "CREATE TABLE token(id, v); INSERT INTO token VALUES(1, 'main')"));
  ASSERT_TRUE(Executes(db, "SELECT * FROM sqlite_master"));
  EXPECT_THAT(Values(Ask(db, select)), ElementsAre("main"));
}

TEST_F(KeptStatements, ColumnRenamedByAnotherConnection_HasItsNewName) {
  const std::string select = "SELECT * FROM session WHERE id = 1";
  ASSERT_TRUE(Executes(db, select));
  const Database other = Connect(path);
  ASSERT_TRUE(Executes(other, "ALTER TABLE session RENAME COLUMN ip TO address"));

  const Rows rows = Ask(db, select);

  EXPECT_STREQ(VEXODBFetchField(rows.get(), 0, "address"), "192.0.2.1");
  EXPECT_EQ(VEXODBFetchField(rows.get(), 0, "ip"), nullptr);
}

TEST_F(KeptStatements, ResultOfAnEarlierRun_StaysAsItIs) {
  const std::string select = "SELECT * FROM session WHERE id = 1";
  const Rows earlier = Ask(db, select);

  ASSERT_TRUE(Executes(db, kLaterSession));
  ASSERT_TRUE(Executes(db, "ALTER TABLE session RENAME COLUMN ip TO address"));
  const Rows later = Ask(db, select);

  EXPECT_STREQ(VEXODBFetchField(earlier.get(), 0, "ip"), "192.0.2.1");
  EXPECT_STREQ(VEXODBFetchField(earlier.get(), 0, "timeout"), "1000");
  EXPECT_STREQ(VEXODBFetchField(later.get(), 0, "timeout"), "2000");
}

TEST_F(KeptStatements, UpdateThatChangesNothing_CountsOneRowAndWritesNothing) {
  for (const char* sql : {kSameEntry, kSameSession, kSameToken}) {
    ASSERT_TRUE(Executes(db, sql));
    const off_t size = LogSize();

    ASSERT_TRUE(Executes(db, sql));
    EXPECT_EQ(Changes(), 1) << sql;
    EXPECT_EQ(LogSize(), size) << sql;
  }
}

TEST_F(KeptStatements, UpdateOfAMissingRow_CountsNoRow) {
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(Executes(
        db, "UPDATE token SET entry_id='1',session_id='1',timeout='1000' WHERE id=2"));
    EXPECT_EQ(Changes(), 0);
  }
}

TEST_F(KeptStatements, Update_StoresWhatDiffersInCaseOrType) {
  ASSERT_TRUE(Executes(db,
                       "DROP TABLE session; CREATE TABLE session(id INTEGER PRIMARY KEY, "
                       "session_id COLLATE NOCASE, uid, ip, timeout); "
                       "INSERT INTO session(id) VALUES(1)"));
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(Executes(db, "UPDATE session SET session_id = 'Session'"));
    ASSERT_TRUE(Executes(db, kSameSession));
    EXPECT_THAT(Values(Ask(db, "SELECT session_id AS v FROM session")),
                ElementsAre("session"));
    ASSERT_TRUE(Executes(db, "UPDATE session SET timeout = 1000"));
    ASSERT_TRUE(Executes(db, kSameSession));
    EXPECT_THAT(Values(Ask(db, "SELECT typeof(timeout) AS v FROM session")),
                ElementsAre("text"));
  }
}

TEST_F(KeptStatements, Update_StoresAnotherCaseInAColumnThatIgnoresCase) {
  ASSERT_TRUE(Executes(db,
                       "DROP TABLE token; CREATE TABLE token(id INTEGER PRIMARY KEY, "
                       "entry_id TEXT COLLATE NOCASE, session_id INTEGER, timeout "
                       "INTEGER); INSERT INTO token(id) VALUES(1)"));
  for (const std::string text : {"ab", "Ab", "AB"}) {
    ASSERT_TRUE(Executes(db, "UPDATE token SET timeout = 0"));
    ASSERT_TRUE(Executes(db, "UPDATE token SET entry_id='" + text +
                                 "',session_id='1',timeout='1' WHERE id=1"));
    EXPECT_THAT(Values(Ask(db, "SELECT entry_id AS v FROM token")), ElementsAre(text));
  }
}

TEST_F(KeptStatements, Update_StoresAnIntegerInPlaceOfAnEqualRealNumber) {
  ASSERT_TRUE(
      Executes(db,
               "DROP TABLE token; CREATE TABLE token(id INTEGER PRIMARY KEY, "
               "entry_id, session_id, timeout); INSERT INTO token(id) VALUES(1)"));
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(
        Executes(db, "UPDATE token SET entry_id = 1.0, session_id = 1, timeout = 0"));
    ASSERT_TRUE(
        Executes(db, "UPDATE token SET entry_id=1,session_id=1,timeout=5 WHERE id=1"));
    EXPECT_THAT(Values(Ask(db, "SELECT entry_id AS v FROM token")), ElementsAre("1"));
  }
}

TEST_F(KeptStatements, CountedChanges_AreARowOfEachUpdate) {
  for (const char* sql : {kSameEntry, kLaterSession, kSameToken}) {
    ASSERT_TRUE(Executes(db, sql));
    ASSERT_TRUE(Executes(db, sql));
    ASSERT_TRUE(Executes(db, "PRAGMA count_changes = ON"));
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(FirstField(Ask(db, sql), "rows updated"), "1") << sql;
    }
    ASSERT_TRUE(Executes(db, "PRAGMA count_changes = OFF"));
  }
}

TEST_F(KeptStatements, ForeignKeyToAColumnThatIsNotUnique_IsRefused) {
  ASSERT_TRUE(Executes(db,
                       "PRAGMA foreign_keys = ON; CREATE TABLE child(app REFERENCES "
                       "entry(project_name))"));

  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(Executes(db, kSameEntry));
    EXPECT_THAT(VEXODBErrorGet(db.get()), testing::HasSubstr("foreign key mismatch"));
  }
}

TEST_F(KeptStatements, UpdateThatBeginsATransaction_WaitsForAnotherWriter) {
  const Database other = Connect(path);
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(Executes(other, "BEGIN IMMEDIATE; DELETE FROM token"));
    ASSERT_TRUE(Executes(other, kNewToken));
    std::thread later([&other] {
      usleep(100 * 1000);
      EXPECT_TRUE(Executes(other, "COMMIT"));
    });
    EXPECT_TRUE(Executes(db, "BEGIN TRANSACTION"));
    EXPECT_TRUE(Executes(db, kLaterSession)) << VEXODBErrorGet(db.get());
    EXPECT_TRUE(Executes(db, "COMMIT"));
    later.join();
  }
}

TEST_F(KeptStatements, TriggerOfAnUnchangedColumn_Fires) {
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(Executes(db, kLaterSession));
  const Database other = Connect(path);
  ASSERT_TRUE(
      Executes(other,
               "CREATE TRIGGER watch BEFORE UPDATE OF session_id ON session BEGIN "
               "SELECT RAISE(FAIL, 'watched'); END"));

  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(Executes(db, kLaterSession));
    EXPECT_STREQ(VEXODBErrorGet(db.get()), "watched");
  }
}

TEST_F(KeptStatements, RowThatBreaksACheck_IsRefused) {
  ASSERT_TRUE(
      Executes(db,
               "DROP TABLE token; CREATE TABLE token(id INTEGER PRIMARY KEY, "
               "entry_id INTEGER CHECK(entry_id > 1), session_id INTEGER, timeout "
               "INTEGER); PRAGMA ignore_check_constraints = ON; "
               "INSERT INTO token VALUES(1, 1, 1, 5); "
               "PRAGMA ignore_check_constraints = OFF"));

  for (int i = 0; i < 3; ++i) EXPECT_FALSE(Executes(db, kSameToken));
}

TEST_F(KeptStatements, CheckpointInATransaction_FailsAsTheStatementDoes) {
  ASSERT_TRUE(Executes(db, "PRAGMA wal_checkpoint; BEGIN IMMEDIATE"));

  EXPECT_FALSE(Executes(db, "PRAGMA wal_checkpoint;"));
  EXPECT_STREQ(VEXODBErrorGet(db.get()), "database table is locked");
}

TEST_F(KeptStatements, CheckpointWithoutALog_HasNoPages) {
  ASSERT_TRUE(Executes(db, "PRAGMA wal_checkpoint; PRAGMA journal_mode = DELETE"));

  const Rows rows = Ask(db, "PRAGMA wal_checkpoint;");
  EXPECT_EQ(FirstField(rows, "busy"), "0");
  EXPECT_EQ(FirstField(rows, "log"), "-1");
}

TEST_F(KeptStatements, StatementsBehindACheckpoint_AreRun) {
  EXPECT_EQ(FirstField(Ask(db, "PRAGMA wal_checkpoint; SELECT 'here' AS v"), "v"),
            "here");
  EXPECT_NE(FirstField(Ask(db, "SELECT 1; PRAGMA WAL_checkpoint"), "log"), "none");
}
