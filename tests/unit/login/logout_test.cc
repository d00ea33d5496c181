#include <gmock/gmock.h>

#include "sharinglogin.h"
#include "store_test.h"
#include "visitor_test.h"

namespace VEXO {
namespace {

using sharing::db::UnusualText;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

class LogoutTest : public AuthorizeTest {};

TEST_F(LogoutTest, Logout_DeletesTheTokenOfThatLinkOnly) {
  AddToken(platform_, 4, 2, 7);

  EXPECT_TRUE(VEXO::VexoSharingLogout("hash", "sid"));
  EXPECT_EQ((fakes::Rows{{"4"}}), platform_.Sql("SELECT id FROM token"));
  EXPECT_EQ("1", Count("session"));
  EXPECT_EQ(-7, Authorize());
  params_.hash = "other";
  EXPECT_EQ(1, Authorize());
  EXPECT_THAT(OwnLines(), IsEmpty());
}

TEST_F(LogoutTest, UnknownSession_IsFalseLogged) {
  EXPECT_FALSE(VEXO::VexoSharingLogout("unknown", "unknown"));
  EXPECT_THAT(log_.lines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ get session failed")));
}

TEST_F(LogoutTest, UnknownLink_IsFalseLogged) {
  EXPECT_FALSE(VEXO::VexoSharingLogout("unknown", "sid"));
  EXPECT_THAT(log_.lines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ get entry failed")));
}

TEST_F(LogoutTest, NoToken_IsFalseLogged) {
  EXPECT_FALSE(VEXO::VexoSharingLogout("other", "sid"));
  EXPECT_THAT(log_.lines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ get token failed")));
  EXPECT_EQ("1", Count("token"));
}

TEST_F(LogoutTest, ExpiredOrDisabled_StillRemovesTheToken) {
  for (const char* change :
       {"UPDATE session SET timeout=1000", "UPDATE token SET timeout=1000",
        "UPDATE entry SET enabled=0", "UPDATE entry SET data='['"}) {
    platform_.Sql("DELETE FROM token");
    AddToken(platform_, 3, 1, 7);
    platform_.Sql(change);

    EXPECT_TRUE(VEXO::VexoSharingLogout("hash", "sid")) << change;
    EXPECT_EQ("0", Count("token")) << change;
  }
  EXPECT_THAT(OwnLines(), IsEmpty());
}

TEST_F(LogoutTest, DeleteFails_IsFalse) {
  platform_.FailStatement("DELETE");

  EXPECT_FALSE(VEXO::VexoSharingLogout("hash", "sid"));
  EXPECT_EQ("1", Count("token"));
}

TEST_F(LogoutTest, Address_IsNotRead) {
  EXPECT_TRUE(VEXO::VexoSharingLogout("hash", "sid"));
  EXPECT_THAT(platform_.calls({"VexoCgiGetRemoteIP"}), IsEmpty());
}

TEST_F(LogoutTest, UnusualTexts_AreHandled) {
  EXPECT_FALSE(VEXO::VexoSharingLogout(UnusualText(), UnusualText()));
  EXPECT_FALSE(VEXO::VexoSharingLogout("hash", "' OR '1'='1"));
  EXPECT_EQ("1", Count("token"));
}

TEST_F(LogoutTest, PlainFunction_Returns1Or0AndThrowsForNull) {
  ExpectNullRefused([] { ::VexoSharingLogout(nullptr, "sid"); });
  ExpectNullRefused([] { ::VexoSharingLogout("hash", nullptr); });
  EXPECT_EQ("1", Count("token"));
  EXPECT_EQ(1, ::VexoSharingLogout("hash", "sid"));
  EXPECT_EQ(0, ::VexoSharingLogout("hash", "sid"));
}

}  // namespace
}  // namespace VEXO
