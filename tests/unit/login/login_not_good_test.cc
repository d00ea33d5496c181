#include <gmock/gmock.h>

#include "fake_platform.h"
#include "log_capture.h"
#include "sharing_db.h"
#include "sharinglogin.h"
#include "store_test.h"

namespace VEXO {
namespace {

using sharing::db::LogLine;
using sharing::db::SharingDB;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

/// The shared database could not be opened, and stays so in this program.
class NotGoodTest : public testing::Test {
 protected:
  NotGoodTest() {
    platform_.Fail("VEXODBConnect");
    const fakes::LogCapture opening;
    SharingDB::Instance();
    platform_.ForgetCalls();
    platform_.tools["/bin/mv"] = {"", 256};
  }

  void SetUp() override { ASSERT_FALSE(SharingDB::Instance().IsGood()); }

  void SetOwner(unsigned int uid, unsigned int gid) {
    platform_.files[sharing::SZF_SHARING_DB_PATH] = {uid, gid, 0660};
  }

  /// The log lines of the operations, without those of the database.
  sharing::db::Calls OwnLines() {
    sharing::db::Calls lines;
    for (const std::string& line : log_.lines()) {
      if (line != LogLine("base_db:339", "db is not good.\n\n")) {
        lines.push_back(line);
      }
    }
    return lines;
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
  _tag_sharing_login_params params_ = {"hash", nullptr, nullptr, nullptr, "sid"};
};

TEST_F(NotGoodTest, Login_ReturnsMinus4SilentlyAndMovesNothing) {
  SetOwner(0, 0);
  std::string out = "before";

  EXPECT_EQ(-4, VEXO::VexoSharingLogin(out, &params_, false));
  EXPECT_EQ("before", out);
  EXPECT_THAT(OwnLines(), IsEmpty());
  EXPECT_THAT(platform_.calls({"VexoCgiGetRemoteIP", "VLIBCPopen", "VLIBCFileStat"}),
              IsEmpty());
}

TEST_F(NotGoodTest, Authorize_OrdinaryOwner_ReturnsMinus4) {
  SetOwner(1, 1);

  EXPECT_EQ(-4, VEXO::VexoSharingIsAuthorized(&params_));
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ db is not good")));
  EXPECT_THAT(platform_.started, IsEmpty());
}

TEST_F(NotGoodTest, Authorize_OwnedByRoot_MovesTheFileAndGoesOnToMinus5) {
  SetOwner(0, 0);

  EXPECT_EQ(-5, VEXO::VexoSharingIsAuthorized(&params_));
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ db is not good"),
                          MatchesRegex("sharinglogin:[0-9]+ db ownner is root")));
  ASSERT_EQ(1u, platform_.started.size());
  EXPECT_THAT(platform_.started[0].arguments,
              ElementsAre("/bin/mv", sharing::SZF_SHARING_DB_PATH, "/tmp/"));
}

TEST_F(NotGoodTest, Authorize_OwnedByRoot_MoveFails_StillGoesOn) {
  SetOwner(0, 0);
  platform_.tools.clear();

  EXPECT_EQ(-5, VEXO::VexoSharingIsAuthorized(&params_));
}

TEST_F(NotGoodTest,
       Authorize_OwnedByRootWithoutParameters_MovesTheFileThenReturnsMinus4) {
  SetOwner(0, 0);

  EXPECT_EQ(-4, VEXO::VexoSharingIsAuthorized(nullptr));
  EXPECT_EQ(1u, platform_.started.size());
}

TEST_F(NotGoodTest, Authorize_OwnedByRootWithoutAddress_LogsIt) {
  SetOwner(0, 0);
  platform_.remote_ip.clear();

  EXPECT_EQ(-4, VEXO::VexoSharingIsAuthorized(&params_));
  EXPECT_THAT(OwnLines(), Contains(MatchesRegex("sharinglogin:[0-9]+ invalid ip")));
}

TEST_F(NotGoodTest, Authorize_FileGone_ReturnsMinus4) {
  platform_.files.clear();

  EXPECT_EQ(-4, VEXO::VexoSharingIsAuthorized(&params_));
}

TEST_F(NotGoodTest, LogoutAndUseCount_AreFalseSilently) {
  SetOwner(0, 0);

  EXPECT_FALSE(VEXO::VexoSharingLogout("hash", "sid"));
  EXPECT_FALSE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_EQ(0, ::VexoSharingLogout("hash", "sid"));
  EXPECT_EQ(0, ::VexoSharingIncreaseUseCount("hash"));
  EXPECT_THAT(OwnLines(), IsEmpty());
  EXPECT_THAT(platform_.started, IsEmpty());
}

TEST_F(NotGoodTest, AnyCallFails_AdmitsNobody) {
  SetOwner(0, 0);
  int number = 0;

  do {
    platform_.FailCall(++number);
    EXPECT_LT(VEXO::VexoSharingIsAuthorized(&params_), 0) << number;
  } while (platform_.injected());
  EXPECT_GT(number, 1);
}

}  // namespace
}  // namespace VEXO
