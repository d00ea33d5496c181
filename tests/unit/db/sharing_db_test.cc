#include "sharing_db.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <thread>
#include <vector>

#include "digit_grouping.h"
#include "failure_sweep.h"
#include "fake_platform.h"
#include "log_capture.h"
#include "log_matchers.h"
#include "store_test.h"

namespace VEXO::sharing::db {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const char kVersionRefused[] = "!pdb_->Execute(\"PRAGMA user_version\", result)";

class SharingDBTest : public testing::Test {
 protected:
  SharingDBTest() { platform_.ids = kCaller; }

  void AnswerVersion(const std::string& version) {
    platform_.AnswerStatement("PRAGMA user_version", {"user_version"}, {{version}});
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
};

TEST_F(SharingDBTest, Open_MissingFile_IsCreatedWithMode0660) {
  const SharingDB db(kPath);

  EXPECT_TRUE(db.IsGood());
  EXPECT_EQ(0660u, platform_.files.at(kPath).mode);
  EXPECT_THAT(platform_.calls({"VEXOFSAclChmod"}),
              ElementsAre("VEXOFSAclChmod(/db/sharing.db, -1, 432)"));
}

TEST_F(SharingDBTest, Open_CurrentOrNewerSchema_RunsNoSchemaFile) {
  for (const char* version : {"2", "3", "2147483647"}) {
    AnswerVersion(version);
    platform_.ForgetCalls();

    const SharingDB db(kPath);
    EXPECT_TRUE(db.IsGood()) << version;
    EXPECT_THAT(platform_.statements(),
                ElementsAre(HasSubstr("PRAGMA cache_size"), "PRAGMA user_version"));
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SharingDBTest, Open_VersionCannotBeRead_IsLoggedAndNotGood) {
  platform_.FailStatement("PRAGMA user_version");

  const SharingDB db(kPath);
  EXPECT_FALSE(db.IsGood());
  EXPECT_THAT(log_.lines(),
              ElementsAre(fakes::Refusal("sharing_db", 49, kVersionRefused)));
}

TEST_F(SharingDBTest, Open_NoVersionRow_IsLoggedAndNotGood) {
  platform_.AnswerStatement("PRAGMA user_version", {"user_version"}, {});

  const SharingDB db(kPath);
  EXPECT_FALSE(db.IsGood());
  EXPECT_THAT(log_.lines(),
              ElementsAre(LogLine("sharing_db:52", "user_version is not correct\n\n")));
}

TEST_F(SharingDBTest, Open_NegativeVersion_StartsAtTheNextAndStopsAtTheFirstMissingFile) {
  AnswerVersion("-5");

  const SharingDB db(kPath);
  EXPECT_FALSE(db.IsGood());
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(LogLine("sharing_db:89",
                          "file /usr/vexo/share/vexosharing/db_schema/-4.sql open "
                          "failed No such file or directory.\n\n"),
                  LogLine("sharing_db:64", "cannot migrate from -5 to -4\n\n")));
}

TEST_F(SharingDBTest, Open_LocaleWithDigitGrouping_UsesThePlainFileName) {
  const fakes::DigitGrouping grouping;
  AnswerVersion("-1234567");

  const SharingDB db(kPath);
  EXPECT_THAT(log_.lines(),
              ElementsAre(HasSubstr("/db_schema/-1234566.sql open failed"),
                          HasSubstr("cannot migrate from -1234567 to -1234566\n\n")));
}

TEST_F(SharingDBTest, Open_SchemaFile_IsOpenedAsTheSystemAccount) {
  AnswerVersion("-5");

  const SharingDB db(kPath);
  const Calls& calls = platform_.calls();
  const auto version =
      std::find(calls.begin(), calls.end(), "VEXODBExecute(PRAGMA user_version)");
  const auto read = std::find(version, calls.end(), "VEXODBFetchField(0, user_version)");
  EXPECT_EQ(Sequence({kEnter, kLeave, {"VEXODBFreeResult(result)"}}),
            Calls(std::next(read), calls.end()));
}

TEST_F(SharingDBTest, Open_NoRightToReadTheSchemaFile_IsLoggedAndNotGood) {
  AnswerVersion("-5");
  platform_.files[kPath] = {1, 1, 0660};
  // Connecting, the pragmas and the version take seven calls each, the row one.
  platform_.FailCall(3 * 7 + 1 + 1);

  const SharingDB db(kPath);
  EXPECT_TRUE(platform_.injected());
  EXPECT_FALSE(db.IsGood());
  EXPECT_THAT(log_.lines(),
              ElementsAre("sharing_db:82 ERROR: IF_RUN_AS(1, 1)",
                          LogLine("sharing_db:85", "failed to run as system\n\n"),
                          LogLine("sharing_db:64", "cannot migrate from -5 to -4\n\n")));
  EXPECT_EQ(kCaller.euid, platform_.ids.euid);
}

TEST_F(SharingDBTest, NotMigrated_EveryLaterStatementFails) {
  AnswerVersion("-5");
  SharingDB db(kPath);
  fakes::LogCapture log;
  platform_.ForgetCalls();
  int id = 7;

  EXPECT_FALSE(db.Execute("SELECT 1"));
  EXPECT_FALSE(db.BaseDB::IsGood());
  EXPECT_FALSE(db.GetLastInsertId(id));
  EXPECT_EQ(7, id);
  EXPECT_EQ("PRAGMA user_version", db.GetLastQuery());
  EXPECT_THAT(log.lines(), ElementsAre(LogLine("base_db:339", "db is not good.\n\n")));
  EXPECT_THAT(platform_.statements(), IsEmpty());
}

TEST_F(SharingDBTest, NotOpened_IsNotGoodAndDoesNotMigrate) {
  platform_.Fail("VEXODBConnect");

  const SharingDB db(kPath);
  EXPECT_FALSE(db.IsGood());
  EXPECT_THAT(log_.lines(),
              ElementsAre(LogLine("base_db:239", "db connect failed\n\n"),
                          LogLine("base_db:339", "db is not good.\n\n"),
                          fakes::Refusal("sharing_db", 49, kVersionRefused)));
}

TEST_F(SharingDBTest, RootRecovery_IsTheSameAsForBaseDB) {
  const SharingDB db(kPath);
  platform_.files[kPath] = {0, 0, 0660};
  platform_.tools["/bin/mv"] = {"", 1};

  EXPECT_TRUE(db.IsRoot());
  EXPECT_TRUE(db.MoveRootDB());
  EXPECT_EQ((std::vector<std::string>{"/bin/mv", kPath, "/tmp/"}),
            platform_.started.at(0).arguments);
}

TEST_F(SharingDBTest, End_ClosesTheConnection) {
  { const SharingDB db(kPath); }

  EXPECT_EQ("VEXODBClose(/db/sharing.db)", platform_.calls().back());
}

TEST(SharingDBSweep, Open_AnyCallFails_IsNotGood) {
  SweepFailures([](Failure& failure) {
    failure.Arm();
    const SharingDB db(kPath);

    EXPECT_EQ(!failure.happened() || failure.IsOfLeaving(), db.IsGood());
  });
}

/// Runs `check` in a process of its own, which has no instance yet, and ends the process.
template <class Check>
void InNewProcess(Check check) {
  EXPECT_EXIT(
      {
        check();
        std::exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(0), "");
}

TEST(SharingDB, Instance_FirstCall_OpensTheOneDatabaseOfTheProcess) {
  InNewProcess([] {
    static fakes::Platform platform;
    EXPECT_THAT(platform.calls(), IsEmpty());

    SharingDB& db = SharingDB::Instance();
    EXPECT_TRUE(db.IsGood());
    EXPECT_EQ(0660u, platform.files.at(SZF_SHARING_DB_PATH).mode);
    EXPECT_EQ(&db, &SharingDB::Instance());
    EXPECT_THAT(
        platform.calls({"VEXODBConnect"}),
        ElementsAre(
            "VEXODBConnect(, , , /usr/vexo/etc/private/session/sharing/sharing.db)"));
  });
}

TEST(SharingDB, Instance_FirstCallsOfManyThreads_OpenItOnce) {
  InNewProcess([] {
    static fakes::Platform platform;
    std::vector<SharingDB*> seen(8);

    std::vector<std::thread> threads;
    for (SharingDB*& one : seen) {
      threads.emplace_back([&one] { one = &SharingDB::Instance(); });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    EXPECT_THAT(seen, Each(&SharingDB::Instance()));
    EXPECT_EQ(1u, platform.calls({"VEXODBConnect"}).size());
  });
}

TEST(SharingDB, Instance_OpeningFailed_IsNotTriedAgain) {
  InNewProcess([] {
    static fakes::Platform platform;
    platform.FailOnce("VEXODBConnect");

    EXPECT_FALSE(SharingDB::Instance().IsGood());
    EXPECT_FALSE(SharingDB::Instance().IsGood());
    EXPECT_EQ(1u, platform.calls({"VEXODBConnect"}).size());
  });
}

TEST(SharingDB, Instance_EndOfTheProcess_ClosesIt) {
  InNewProcess([] {
    static fakes::Platform platform;
    std::atexit([] {
      if (platform.calls().back() !=
          std::string("VEXODBClose(") + SZF_SHARING_DB_PATH + ")") {
        std::_Exit(2);
      }
    });

    SharingDB::Instance();
  });
}

}  // namespace
}  // namespace VEXO::sharing::db
