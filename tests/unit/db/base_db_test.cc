#include "base_db.h"

#include <gmock/gmock.h>
#include <syslog.h>
#include <vexo/db.h>

#include <climits>
#include <memory>
#include <type_traits>

#include "digit_grouping.h"
#include "failure_sweep.h"
#include "fake_platform.h"
#include "log_capture.h"
#include "store_test.h"

namespace VEXO::sharing::db {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

static_assert(std::has_virtual_destructor_v<BaseDB>);
static_assert(!std::is_copy_constructible_v<BaseDB>);

const char kPragmas[] =
    "PRAGMA cache_size = 5000;PRAGMA foreign_keys = ON;PRAGMA journal_mode = WAL;"
    "PRAGMA synchronous = NORMAL;";
const char kWanted[] = "failure wanted by the test";

class BaseDBTest : public testing::Test {
 protected:
  BaseDBTest() { platform_.ids = kCaller; }

  /// Removes the calls of the opening.
  void Open() {
    db_ = std::make_unique<BaseDB>(kPath, 0640);
    ASSERT_TRUE(db_->IsGood());
    platform_.ForgetCalls();
  }
  void OpenWithTable() {
    Open();
    ASSERT_TRUE(db_->Execute("CREATE TABLE t (id INTEGER PRIMARY KEY, a, b)"));
    platform_.ForgetCalls();
  }
  void ExpectIdsBack() {
    EXPECT_EQ(kCaller.euid, platform_.ids.euid);
    EXPECT_EQ(kCaller.egid, platform_.ids.egid);
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
  std::unique_ptr<BaseDB> db_;
};

TEST_F(BaseDBTest, Open_MissingFile_IsCreatedWithItsModeThenConnectedAsTheSystemAccount) {
  const BaseDB db(kPath, 0640);

  EXPECT_TRUE(db.IsGood());
  EXPECT_EQ(Sequence({{"VLIBCFileExist(/db/sharing.db)"},
                      kEnter,
                      {"VLIBCFileExist(/db/sharing.db)", "VLIBCFileTouch(/db/sharing.db)",
                       "VEXOFSAclChmod(/db/sharing.db, -1, 416)"},
                      kLeave,
                      kEnter,
                      {"VEXODBConnect(, , , /db/sharing.db)"},
                      kLeave,
                      kEnter,
                      {std::string("VEXODBExecute(") + kPragmas + ")"},
                      kLeave,
                      {"VEXODBFreeResult(result)"}}),
            platform_.calls());
  EXPECT_EQ(1u, platform_.files.at(kPath).uid);
  EXPECT_EQ(1u, platform_.files.at(kPath).gid);
  EXPECT_EQ(0640u, platform_.files.at(kPath).mode);
  EXPECT_EQ(kPragmas, db.GetLastQuery());
  EXPECT_EQ("", db.GetLastError());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(BaseDBTest, Open_ExistingFile_IsNotChanged) {
  platform_.files[kPath] = {500, 600, 0604};

  const BaseDB db(kPath, 0640);
  EXPECT_TRUE(db.IsGood());
  EXPECT_THAT(platform_.calls({"VLIBCFileTouch", "VEXOFSAclChmod"}), IsEmpty());
  EXPECT_EQ(500u, platform_.files.at(kPath).uid);
  EXPECT_EQ(600u, platform_.files.at(kPath).gid);
  EXPECT_EQ(0604u, platform_.files.at(kPath).mode);
}

TEST_F(BaseDBTest, Open_NoRightToCreateAsSystem_StopsBeforeTheFile) {
  platform_.FailCall(1);

  const BaseDB db(kPath, 0640);
  EXPECT_FALSE(db.IsGood());
  EXPECT_THAT(log_.lines(),
              ElementsAre("base_db:220 ERROR: IF_RUN_AS(1, 1)",
                          LogLine("base_db:228", "failed to run as system\n\n")));
  EXPECT_THAT(log_.priorities(), ElementsAre(LOG_AUTH | LOG_ERR, LOG_ERR));
  EXPECT_THAT(platform_.calls({"VLIBCFileTouch", "VEXODBConnect"}), IsEmpty());
  ExpectIdsBack();
}

TEST_F(BaseDBTest, Open_TouchFails_StopsThere) {
  platform_.Fail("VLIBCFileTouch");

  const BaseDB db(kPath, 0640);
  EXPECT_FALSE(db.IsGood());
  EXPECT_THAT(log_.lines(),
              ElementsAre(LogLine("base_db:222",
                                  "create database failed on /db/sharing.db\n\n")));
  EXPECT_THAT(platform_.calls({"VEXOFSAclChmod", "VEXODBConnect"}), IsEmpty());
  ExpectIdsBack();
}

TEST_F(BaseDBTest, Open_ChmodFails_StopsThere) {
  platform_.Fail("VEXOFSAclChmod");

  const BaseDB db(kPath, 0640);
  EXPECT_FALSE(db.IsGood());
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(LogLine("base_db:225", "change mode failed on /db/sharing.db\n\n")));
  EXPECT_THAT(platform_.calls({"VEXODBConnect"}), IsEmpty());
  ExpectIdsBack();
}

TEST_F(BaseDBTest, Open_NoRightToConnectAsSystem_StopsBeforeConnecting) {
  platform_.files[kPath] = {1, 1, 0660};
  platform_.FailCall(1);

  const BaseDB db(kPath, 0640);
  EXPECT_FALSE(db.IsGood());
  EXPECT_THAT(log_.lines(),
              ElementsAre("base_db:232 ERROR: IF_RUN_AS(1, 1)",
                          LogLine("base_db:235", "failed to run as system\n\n")));
  EXPECT_THAT(platform_.calls({"VEXODBConnect"}), IsEmpty());
}

TEST_F(BaseDBTest, Open_ConnectFails_IsNotGoodAndClosesNothing) {
  platform_.Fail("VEXODBConnect");

  {
    const BaseDB db(kPath, 0640);
    EXPECT_FALSE(db.IsGood());
  }
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine("base_db:239", "db connect failed\n\n")));
  EXPECT_THAT(log_.priorities(), ElementsAre(LOG_ERR));
  EXPECT_THAT(platform_.calls({"VEXODBExecute", "VEXODBClose"}), IsEmpty());
}

TEST_F(BaseDBTest, Open_PragmasFail_IsNotGoodAndStillCloses) {
  platform_.FailStatement("PRAGMA cache_size");

  {
    const BaseDB db(kPath, 0640);
    EXPECT_FALSE(db.IsGood());
    EXPECT_EQ(kWanted, db.GetLastError());
  }
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine("base_db:242", "init failed\n\n")));
  EXPECT_EQ("VEXODBClose(/db/sharing.db)", platform_.calls().back());
}

TEST(BaseDBSweep, Open_AnyCallFails_IsNotGood) {
  SweepFailures([](Failure& failure) {
    failure.Arm();
    const BaseDB db(kPath, 0640);

    EXPECT_EQ(!failure.happened() || failure.IsOfLeaving(), db.IsGood());
    EXPECT_EQ(failure.happened(), !failure.log.lines().empty());
  });
}

TEST_F(BaseDBTest, End_ClosesUnderTheCallersAccount) {
  Open();

  db_.reset();
  EXPECT_THAT(platform_.calls(), ElementsAre("VEXODBClose(/db/sharing.db)"));
}

TEST_F(BaseDBTest, Execute_RunsAsTheSystemAccountAndGoesBackBeforeTheResultIsUsed) {
  Open();

  EXPECT_TRUE(db_->Execute("SELECT 1 AS a"));
  EXPECT_EQ(Sequence({kEnter,
                      {"VEXODBExecute(SELECT 1 AS a)"},
                      kLeave,
                      {"VEXODBFreeResult(result)"}}),
            platform_.calls());
}

TEST_F(BaseDBTest, Execute_ResultGiven_ReceivesTheRows) {
  Open();
  Result by_pointer;
  Result by_reference;
  Row row;

  EXPECT_TRUE(db_->Execute("SELECT 'x' AS a", &by_pointer));
  EXPECT_TRUE(db_->Execute("SELECT 'y' AS a", by_reference));
  EXPECT_THAT(platform_.calls({"VEXODBFreeResult"}), IsEmpty());
  ASSERT_TRUE(by_pointer.NextRow(row));
  EXPECT_EQ("x", row.GetField("a").AsString(""));
  ASSERT_TRUE(by_reference.NextRow(row));
  EXPECT_EQ("y", row.GetField("a").AsString(""));
}

TEST_F(BaseDBTest, Execute_NullResult_FreesTheRows) {
  Open();

  EXPECT_TRUE(db_->Execute("SELECT 1", nullptr));
  EXPECT_THAT(platform_.calls({"VEXODBFreeResult"}),
              ElementsAre("VEXODBFreeResult(result)"));
}

TEST_F(BaseDBTest, Execute_SqlFails_KeepsTheReasonAndLogsNothing) {
  Open();
  Result result;

  EXPECT_FALSE(db_->Execute("SELECT * FROM missing", result));
  EXPECT_FALSE(result.IsGood());
  EXPECT_EQ("no such table: missing", db_->GetLastError());
  EXPECT_EQ("SELECT * FROM missing", db_->GetLastQuery());
  EXPECT_THAT(log_.lines(), IsEmpty());
  ExpectIdsBack();
}

TEST_F(BaseDBTest, Execute_SqlFails_ReadsTheReasonBeforeTheScopeEnds) {
  Open();
  platform_.FailStatement("SELECT 1");

  EXPECT_FALSE(db_->Execute("SELECT 1"));
  EXPECT_EQ(Sequence({kEnter,
                      {"VEXODBExecute(SELECT 1)", "VEXODBErrorGet()"},
                      kLeave,
                      {"VEXODBFreeResult(null)"}}),
            platform_.calls());
}

TEST_F(BaseDBTest, Execute_SqlFails_EmptiesTheResult) {
  Open();
  VEXODB* const other = VEXODBConnect("", "", "", kPath);
  DBResult_tag* held = nullptr;
  ASSERT_EQ(0, VEXODBExecute(other, "SELECT 1", &held));
  Result result(held);

  EXPECT_FALSE(db_->Execute("SELECT * FROM missing", result));
  EXPECT_FALSE(result.IsGood());
  VEXODBFreeResult(held);
  VEXODBClose(other);
}

TEST_F(BaseDBTest, GetLastError_LaterSuccess_LeavesIt) {
  Open();
  db_->Execute("SELECT * FROM missing");

  EXPECT_TRUE(db_->Execute("SELECT 1"));
  EXPECT_EQ("no such table: missing", db_->GetLastError());
  EXPECT_EQ("SELECT 1", db_->GetLastQuery());
  db_->Execute("SELECT * FROM gone");
  EXPECT_EQ("no such table: gone", db_->GetLastError());
}

TEST_F(BaseDBTest, Execute_NotGood_LogsLeavesTheLastQueryAndEmptiesTheResult) {
  platform_.FailStatement("PRAGMA cache_size");
  BaseDB db(kPath, 0640);
  VEXODB* const other = VEXODBConnect("", "", "", kPath);
  DBResult_tag* held = nullptr;
  ASSERT_EQ(0, VEXODBExecute(other, "SELECT 1", &held));
  Result result(held);
  fakes::LogCapture log;
  platform_.ForgetCalls();

  EXPECT_FALSE(db.Execute("SELECT 2", result));
  EXPECT_FALSE(result.IsGood());
  EXPECT_EQ(kPragmas, db.GetLastQuery());
  EXPECT_EQ(kWanted, db.GetLastError());
  EXPECT_THAT(log.lines(), ElementsAre(LogLine("base_db:339", "db is not good.\n\n")));
  EXPECT_THAT(log.priorities(), ElementsAre(LOG_ERR));
  EXPECT_THAT(platform_.calls(), IsEmpty());
  VEXODBFreeResult(held);
  VEXODBClose(other);
}

TEST_F(BaseDBTest, Execute_NeverConnected_EveryOperationFails) {
  platform_.Fail("VEXODBConnect");
  BaseDB db(kPath, 0640);
  int id = 7;

  EXPECT_FALSE(db.Begin());
  EXPECT_FALSE(db.Commit());
  EXPECT_FALSE(db.Vacuum());
  EXPECT_FALSE(db.ExecuteWALCheckPoint());
  EXPECT_FALSE(db.Insert("t", {"a"}));
  EXPECT_FALSE(db.Update("t", {{"a", "1"}}, 1));
  EXPECT_FALSE(db.Delete("t", 1));
  EXPECT_FALSE(db.GetLastInsertId(id));
  EXPECT_EQ(7, id);
  EXPECT_EQ("", db.GetLastQuery());
  EXPECT_EQ("", db.GetLastError());
  EXPECT_THAT(platform_.statements(), IsEmpty());
}

TEST_F(BaseDBTest, Execute_NoRightToRunAsSystem_KeepsTheQueryAndTheError) {
  Open();
  platform_.FailCall(1);
  Result result;

  EXPECT_FALSE(db_->Execute("SELECT 1", result));
  EXPECT_FALSE(result.IsGood());
  EXPECT_THAT(log_.lines(),
              ElementsAre("base_db:343 ERROR: IF_RUN_AS(1, 1)",
                          LogLine("base_db:351", "failed to run as system\n\n")));
  EXPECT_THAT(log_.priorities(), ElementsAre(LOG_AUTH | LOG_ERR, LOG_ERR));
  EXPECT_EQ("SELECT 1", db_->GetLastQuery());
  EXPECT_EQ("", db_->GetLastError());
  EXPECT_THAT(platform_.statements(), IsEmpty());
  ExpectIdsBack();
}

TEST_F(BaseDBTest, Execute_IdsCannotBeRestored_IsLoggedAndGoesOn) {
  Open();
  platform_.FailCall(
      5);  // after three calls to enter and the statement: the first to leave

  EXPECT_TRUE(db_->Execute("SELECT 1"));
  EXPECT_THAT(log_.lines(), ElementsAre("base_db:343 ERROR: ~IF_RUN_AS(1000, 2000)"));
  EXPECT_THAT(log_.priorities(), ElementsAre(LOG_AUTH | LOG_CRIT));
}

TEST_F(BaseDBTest, Execute_SeveralStatements_ReturnsTheLastRows) {
  OpenWithTable();
  Result result;
  Row row;

  EXPECT_TRUE(
      db_->Execute("INSERT INTO t VALUES (NULL,'x','y');SELECT a FROM t;", result));
  ASSERT_TRUE(result.NextRow(row));
  EXPECT_EQ("x", row.GetField("a").AsString(""));
}

TEST(BaseDBSweep, Execute_AnyCallFails_IsFalseWithoutAResult) {
  SweepFailures([](Failure& failure) {
    BaseDB db(kPath, 0640);
    Result result;
    failure.Arm();

    const bool done = db.Execute("SELECT 1 AS a", result);
    EXPECT_EQ(!failure.happened() || failure.IsOfLeaving(), done);
    EXPECT_EQ(done, result.IsGood());
  });
}

TEST_F(BaseDBTest, Transaction_WritesItsFixedTexts) {
  Open();

  EXPECT_TRUE(db_->Begin());
  EXPECT_TRUE(db_->Commit());
  EXPECT_THAT(platform_.statements(), ElementsAre("BEGIN TRANSACTION", "COMMIT"));
  EXPECT_EQ("COMMIT", db_->GetLastQuery());
}

TEST_F(BaseDBTest, Commit_Fails_RollsBackOnce) {
  OpenWithTable();
  ASSERT_TRUE(db_->Begin());
  ASSERT_TRUE(db_->Insert("t", {"x", "y"}));
  platform_.ForgetCalls();
  platform_.FailStatement("COMMIT");

  EXPECT_FALSE(db_->Commit());
  EXPECT_THAT(platform_.statements(), ElementsAre("COMMIT", "ROLLBACK"));
  EXPECT_EQ("ROLLBACK", db_->GetLastQuery());
  EXPECT_EQ((fakes::Rows{{"0"}}), platform_.Sql("SELECT count(*) FROM t", kPath));
  EXPECT_TRUE(db_->Begin());
}

TEST_F(BaseDBTest, Commit_RollbackFailsToo_IsFalse) {
  Open();
  platform_.FailStatement("COMMIT");
  platform_.FailStatement("ROLLBACK");

  EXPECT_FALSE(db_->Commit());
  EXPECT_THAT(platform_.statements(), ElementsAre("COMMIT", "ROLLBACK"));
}

TEST_F(BaseDBTest, Maintenance_WritesItsFixedTexts) {
  Open();

  EXPECT_TRUE(db_->ExecuteWALCheckPoint());
  EXPECT_TRUE(db_->Vacuum());
  EXPECT_THAT(platform_.statements(), ElementsAre("PRAGMA wal_checkpoint;", "VACUUM"));
}

TEST_F(BaseDBTest, Maintenance_Fails_IsFalse) {
  Open();
  platform_.Fail("VEXODBExecute");

  EXPECT_FALSE(db_->ExecuteWALCheckPoint());
  EXPECT_FALSE(db_->Vacuum());
  EXPECT_FALSE(db_->Begin());
}

TEST_F(BaseDBTest, Escape_PassesTwiceTheLengthToThePlatform) {
  Open();

  EXPECT_EQ("it''s", db_->Escape("it's"));
  EXPECT_THAT(platform_.calls(), ElementsAre("VEXODBEscapeStringEX2(0, 8, it's)"));
}

TEST_F(BaseDBTest, Escape_EveryTextWithoutNul_IsReadBackWhole) {
  Open();
  const std::string rough = UnusualText();
  std::string doubled;
  for (const char c : rough) {
    doubled.append(c == '\'' ? 2 : 1, c);
  }

  EXPECT_EQ("", db_->Escape(""));
  EXPECT_EQ("a", db_->Escape("a"));
  EXPECT_EQ("''", db_->Escape("'"));
  EXPECT_EQ("''''''", db_->Escape("'''"));
  EXPECT_EQ("\xff\xfe", db_->Escape("\xff\xfe"));
  EXPECT_TRUE(doubled == db_->Escape(rough));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(BaseDBTest, Escape_Nul_EndsTheText) {
  Open();

  EXPECT_EQ("a", db_->Escape(std::string("a\0b'", 4)));
  EXPECT_EQ("", db_->Escape(std::string("\0b", 2)));
}

TEST_F(BaseDBTest, Escape_PlatformFails_IsLoggedAndEmpty) {
  Open();
  platform_.Fail("VEXODBEscapeStringEX2");

  EXPECT_EQ("", db_->Escape("text"));
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine("base_db:435", "escape failed\n\n")));
  EXPECT_THAT(log_.priorities(), ElementsAre(LOG_ERR));
}

TEST_F(BaseDBTest, Escape_PlatformFails_StatementsQuoteAnEmptyText) {
  OpenWithTable();
  platform_.FailOnce("VEXODBEscapeStringEX2");

  EXPECT_TRUE(db_->Insert("t", {"x", "y"}));
  EXPECT_THAT(platform_.statements(), ElementsAre("INSERT INTO t VALUES (NULL,'','y')"));
}

TEST_F(BaseDBTest, Insert_WritesNullAndTheQuotedValues) {
  OpenWithTable();

  EXPECT_TRUE(db_->Insert("t", {"a", "it's"}));
  EXPECT_THAT(platform_.statements(),
              ElementsAre("INSERT INTO t VALUES (NULL,'a','it''s')"));
  EXPECT_EQ((fakes::Rows{{"1", "a", "it's"}}), platform_.Sql("SELECT * FROM t", kPath));
}

TEST_F(BaseDBTest, Insert_NoValues_FailsInSql) {
  OpenWithTable();

  EXPECT_FALSE(db_->Insert("t", {}));
  EXPECT_EQ("INSERT INTO t VALUES (NULL,)", db_->GetLastQuery());
  EXPECT_THAT(db_->GetLastError(), Not(IsEmpty()));
}

TEST_F(BaseDBTest, Insert_UnusualText_IsReadBackWhole) {
  OpenWithTable();
  const std::string rough = UnusualText();

  ASSERT_TRUE(db_->Insert("t", {rough, "''"}));
  const fakes::Rows rows = platform_.Sql("SELECT a, b FROM t", kPath);
  ASSERT_EQ(1u, rows.size());
  EXPECT_TRUE(rough == rows[0][0]);
  EXPECT_EQ("''", rows[0][1]);
}

TEST_F(BaseDBTest, Update_WritesThePairsInKeyOrder) {
  OpenWithTable();
  ASSERT_TRUE(db_->Insert("t", {"old", "old"}));
  platform_.ForgetCalls();

  EXPECT_TRUE(db_->Update("t", {{"b", "x"}, {"a", "it's"}}, 1));
  EXPECT_THAT(platform_.statements(),
              ElementsAre("UPDATE t SET a='it''s',b='x' WHERE id=1"));
  EXPECT_EQ((fakes::Rows{{"1", "it's", "x"}}), platform_.Sql("SELECT * FROM t", kPath));
}

TEST_F(BaseDBTest, Update_KeyId_IsNeverSet) {
  OpenWithTable();

  EXPECT_TRUE(db_->Update("t", {{"a", "1"}, {"id", "9"}, {"b", "2"}}, 5));
  EXPECT_TRUE(db_->Update("t", {{"id", "9"}, {"b", "2"}}, 5));
  EXPECT_THAT(platform_.statements(), ElementsAre("UPDATE t SET a='1',b='2' WHERE id=5",
                                                  "UPDATE t SET b='2' WHERE id=5"));
}

TEST_F(BaseDBTest, Update_OnlyTheId_FailsInSql) {
  OpenWithTable();

  EXPECT_FALSE(db_->Update("t", {{"id", "9"}}, 5));
  EXPECT_EQ("UPDATE t SET  WHERE id=5", db_->GetLastQuery());
}

TEST_F(BaseDBTest, Update_ColumnNames_AreEscapedButNotQuoted) {
  Open();

  EXPECT_FALSE(db_->Update("t", {{"a'b", "1"}}, 5));
  EXPECT_EQ("UPDATE t SET a''b='1' WHERE id=5", db_->GetLastQuery());
}

TEST_F(BaseDBTest, Delete_WritesTheIdBare) {
  OpenWithTable();
  ASSERT_TRUE(db_->Insert("t", {"a", "b"}));
  platform_.ForgetCalls();

  EXPECT_TRUE(db_->Delete("t", 1));
  EXPECT_TRUE(db_->Delete("t", 1));
  EXPECT_TRUE(db_->Delete("t", INT_MIN));
  EXPECT_THAT(platform_.statements(),
              ElementsAre("DELETE FROM t WHERE id=1", "DELETE FROM t WHERE id=1",
                          "DELETE FROM t WHERE id=-2147483648"));
  EXPECT_EQ((fakes::Rows{{"0"}}), platform_.Sql("SELECT count(*) FROM t", kPath));
}

TEST_F(BaseDBTest, TableName_IsWrittenAsGiven) {
  Open();

  db_->Delete("o'brien", 5);
  EXPECT_EQ("DELETE FROM o'brien WHERE id=5", db_->GetLastQuery());
  db_->Update("o'brien", {}, 5);
  EXPECT_EQ("UPDATE o'brien SET  WHERE id=5", db_->GetLastQuery());
  db_->Insert("o'brien", {});
  EXPECT_EQ("INSERT INTO o'brien VALUES (NULL,)", db_->GetLastQuery());
}

TEST_F(BaseDBTest, RowStatements_LocaleWithDigitGrouping_WritePlainDecimals) {
  OpenWithTable();
  const fakes::DigitGrouping grouping;

  EXPECT_TRUE(db_->Update("t", {{"a", "1"}}, 1234567));
  EXPECT_TRUE(db_->Delete("t", 1234567));
  EXPECT_THAT(platform_.statements(), ElementsAre("UPDATE t SET a='1' WHERE id=1234567",
                                                  "DELETE FROM t WHERE id=1234567"));
}

TEST_F(BaseDBTest, GetLastInsertId_AfterAnInsert_IsItsRowId) {
  OpenWithTable();
  ASSERT_TRUE(db_->Execute("INSERT INTO t VALUES (41,'a','b')"));
  ASSERT_TRUE(db_->Insert("t", {"a", "b"}));
  platform_.ForgetCalls();
  int id = 0;

  EXPECT_TRUE(db_->GetLastInsertId(id));
  EXPECT_EQ(42, id);
  EXPECT_THAT(platform_.calls(), ElementsAre("VEXODBSqliteHandle()"));
}

TEST_F(BaseDBTest, GetLastInsertId_BeyondInt_IsNarrowed) {
  OpenWithTable();
  ASSERT_TRUE(db_->Execute("INSERT INTO t VALUES (4294967301,'a','b')"));
  int id = 0;

  EXPECT_TRUE(db_->GetLastInsertId(id));
  EXPECT_EQ(5, id);
}

TEST_F(BaseDBTest, IsRoot_OnlyWhenUserAndGroupAreNamedRoot) {
  const struct {
    unsigned int uid;
    unsigned int gid;
    bool root;
  } cases[] = {{0, 0, true},  {5, 6, true},  {0, 1, false}, {1, 0, false},
               {1, 1, false}, {9, 0, false}, {0, 9, false}};
  Open();
  platform_.passwd_names[5] = "root";  // the name decides, not the number
  platform_.group_names[6] = "root";

  for (const auto& [uid, gid, root] : cases) {
    platform_.files[kPath] = {uid, gid, 0660};
    EXPECT_EQ(root, db_->IsRoot()) << uid << " " << gid;
  }
  EXPECT_THAT(platform_.calls({"setresuid", "setresgid"}), IsEmpty());
  EXPECT_EQ("VLIBCFileStat(/db/sharing.db, 1)", platform_.calls().front());
}

TEST_F(BaseDBTest, IsRoot_Number0UnderAnotherName_IsFalse) {
  Open();
  platform_.files[kPath] = {0, 0, 0660};
  platform_.passwd_names[0] = "toor";

  EXPECT_FALSE(db_->IsRoot());
}

TEST_F(BaseDBTest, IsRoot_MissingFile_IsFalse) {
  Open();
  platform_.files.clear();

  EXPECT_FALSE(db_->IsRoot());
}

TEST_F(BaseDBTest, IsRoot_AnyCallFails_IsFalse) {
  for (const char* function : {"VLIBCFileStat", "getpwuid", "getgrgid"}) {
    const BaseDB db(kPath, 0640);
    platform_.files[kPath] = {0, 0, 0660};
    platform_.FailOnce(function);

    EXPECT_FALSE(db.IsRoot()) << function;
    EXPECT_TRUE(db.IsRoot());
  }
}

TEST_F(BaseDBTest, MoveRootDB_RunsTheMoverAsRoot) {
  Open();
  platform_.tools["/bin/mv"] = {"", 0};

  db_->MoveRootDB();
  EXPECT_EQ(
      Calls({"setresuid(-1, 0, -1)", "setresgid(-1, 0, -1)", "setresuid(-1, 0, -1)",
             "VLIBCPopen(/bin/mv, r, [/bin/mv, /db/sharing.db, /tmp/])",
             "VLIBCPclose(pipe)", "setresgid(-1, 2000, -1)", "setresuid(-1, 1000, -1)"}),
      platform_.calls());
  ExpectIdsBack();
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(BaseDBTest, MoveRootDB_IsTrueWhenTheProgramReportsAFailure) {
  const struct {
    int status;
    bool moved;
  } cases[] = {{0, false}, {1, true}, {256, true}, {-1, true}};
  Open();

  for (const auto& [status, moved] : cases) {
    platform_.tools["/bin/mv"] = {"", status};
    EXPECT_EQ(moved, db_->MoveRootDB()) << status;
  }
}

TEST_F(BaseDBTest, MoveRootDB_MoverDoesNotStart_IsLoggedAndFalse) {
  Open();
  platform_.Fail("VLIBCPopen");

  EXPECT_FALSE(db_->MoveRootDB());
  EXPECT_THAT(log_.lines(),
              ElementsAre("base_db:285 VLIBCPopen failed, path=/db/sharing.db"));
  EXPECT_THAT(log_.priorities(), ElementsAre(LOG_ERR));
  ExpectIdsBack();
}

TEST_F(BaseDBTest, MoveRootDB_NoRightToRunAsRoot_IsLoggedWithTheRealUser) {
  Open();
  platform_.tools["/bin/mv"] = {"", 1};
  platform_.ids = {3000, 1000, 0, 2000};
  platform_.FailCall(1);

  EXPECT_FALSE(db_->MoveRootDB());
  EXPECT_THAT(log_.lines(), ElementsAre("base_db:282 ERROR: IF_RUN_AS(0, 0)",
                                        "base_db:290 Permssion denied. uid=3000"));
  EXPECT_THAT(log_.priorities(), ElementsAre(LOG_AUTH | LOG_ERR, LOG_ERR));
  EXPECT_THAT(platform_.started, IsEmpty());
}

TEST_F(BaseDBTest, MoveRootDB_LeavesTheConnectionOpen) {
  Open();
  platform_.tools["/bin/mv"] = {"", 0};

  db_->MoveRootDB();
  EXPECT_TRUE(db_->IsGood());
  EXPECT_TRUE(db_->Execute("SELECT 1"));
  EXPECT_THAT(platform_.calls({"VEXODBClose", "VEXODBConnect"}), IsEmpty());
}

}  // namespace
}  // namespace VEXO::sharing::db
