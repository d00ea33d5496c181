#include <gmock/gmock.h>

#include <algorithm>
#include <climits>
#include <ctime>
#include <map>
#include <string>

#include "digit_grouping.h"
#include "log_matchers.h"
#include "one_second.h"
#include "sharinglogin.h"
#include "store_test.h"
#include "visitor_test.h"

namespace VEXO {
namespace {

using fakes::InOneSecond;
using sharing::db::UnusualText;
using sharing::record::Entry;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

class LoginTest : public VisitorTest {};

TEST_F(LoginTest, OpenLink_Returns1AndStoresSessionAndToken) {
  StoreLink(OpenEntry());
  platform_.failed_logins[platform_.remote_ip] = {"SHARING", 3};
  const long before = time(nullptr);

  EXPECT_EQ(1, Login());
  const long after = time(nullptr);
  EXPECT_THAT(out_, SizeIs(32));
  EXPECT_EQ((fakes::Rows{{"1", out_, "4294967295", "192.0.2.7"}}),
            platform_.Sql("SELECT id, session_id, uid, ip FROM session"));
  EXPECT_EQ((fakes::Rows{{"1", "1"}}),
            platform_.Sql("SELECT entry_id, session_id FROM token"));
  for (const char* table : {"session", "token"}) {
    const long timeout = std::stol(One(std::string("SELECT timeout FROM ") + table));
    EXPECT_LE(before + kDay, timeout);
    EXPECT_GE(after + kDay, timeout);
  }
  EXPECT_EQ("1", One("SELECT use_count FROM entry"));
  EXPECT_EQ(0, Recorded());
  EXPECT_THAT(platform_.calls({"VEXOAutoBlockFailLoginReset"}),
              ElementsAre("VEXOAutoBlockFailLoginReset(192.0.2.7)"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LoginTest, OpenLink_StepsComeInTheirOrder) {
  StoreLink(OpenEntry());

  ASSERT_EQ(1, Login());
  EXPECT_THAT(
      platform_.statements(),
      ElementsAre("SELECT * FROM entry WHERE hash = 'hash'", "BEGIN IMMEDIATE",
                  "SELECT * FROM entry WHERE hash = 'hash'",
                  MatchesRegex("UPDATE entry SET .*,use_count='1' WHERE id=1"), "COMMIT",
                  "PRAGMA wal_checkpoint;",
                  MatchesRegex("INSERT INTO session VALUES \\(NULL,'" + out_ +
                               "','4294967295','192.0.2.7','[0-9]+'\\)"),
                  "SELECT * FROM token WHERE session_id = 1 AND entry_id = 1",
                  MatchesRegex("INSERT INTO token VALUES \\(NULL,'1','1','[0-9]+'\\)"),
                  MatchesRegex("UPDATE session SET ip='192.0.2.7',session_id='" + out_ +
                               "',timeout='[0-9]+',uid='4294967295' WHERE id=1"),
                  "PRAGMA wal_checkpoint;", "PRAGMA wal_checkpoint;",
                  "PRAGMA wal_checkpoint;"));
  EXPECT_THAT(platform_.calls({"VexoCgiGetRemoteIP", "VexoCgiIsDeniedIP"}),
              ElementsAre("VexoCgiGetRemoteIP(65)", "VexoCgiIsDeniedIP(192.0.2.7)",
                          "VexoCgiGetRemoteIP(65)"));
  EXPECT_THAT(platform_.calls({"VexoCgiInit", "AutoBlockFailLoginSet"}), IsEmpty());
}

TEST_F(LoginTest, NullParametersOrHash_ReturnsMinus4BeforeTheAddressIsRead) {
  EXPECT_EQ(-4, VEXO::VexoSharingLogin(out_, nullptr, false));
  params_.hash = nullptr;
  EXPECT_EQ(-4, Login());
  EXPECT_THAT(platform_.calls({"VexoCgiGetRemoteIP"}), IsEmpty());
  EXPECT_EQ(0, Recorded());
  ExpectNothingDone();
}

TEST_F(LoginTest, NoAddress_ReturnsMinus4) {
  StoreLink(OpenEntry());
  platform_.Fail("VexoCgiGetRemoteIP");

  EXPECT_EQ(-4, Login());
  EXPECT_EQ(0, Recorded());
  EXPECT_THAT(log_.lines(), IsEmpty());
  ExpectNothingDone();
}

TEST_F(LoginTest, LongestAddress_IsStoredWhole) {
  StoreLink(OpenEntry());
  platform_.remote_ip = std::string(64, 'f');

  EXPECT_EQ(1, Login());
  EXPECT_EQ(platform_.remote_ip, One("SELECT ip FROM session"));
}

TEST_F(LoginTest, BlockedAddress_ReturnsMinus8BeforeTheLinkIsLookedUp) {
  platform_.denied_ips.insert(platform_.remote_ip);

  EXPECT_EQ(-8, Login());
  EXPECT_THAT(log_.lines(),
              ElementsAre(MatchesRegex(
                  "sharinglogin:[0-9]+ VexoAutoBlockIsDeniedIP 192\\.0\\.2\\.7")));
  EXPECT_THAT(platform_.statements(), ElementsAre("PRAGMA wal_checkpoint;"));
  EXPECT_EQ(0, Recorded());
  ExpectNothingDone();
}

TEST_F(LoginTest, UnknownLink_ReturnsMinus3Unrecorded) {
  StoreLink(OpenEntry());
  params_.hash = "other";

  EXPECT_EQ(-3, Login());
  EXPECT_EQ(0, Recorded());
  EXPECT_THAT(log_.lines(), IsEmpty());
  ExpectNothingDone();
}

TEST_F(LoginTest, LinkNotValid_ReturnsMinus3Unrecorded) {
  Entry disabled = OpenEntry();
  disabled.set_enabled(false);
  StoreLink(disabled);

  EXPECT_EQ(-3, Login());
  EXPECT_EQ(0, Recorded());
  EXPECT_THAT(log_.lines(), ElementsAre(fakes::Refusal("entry", 356, "! enabled_")));
  ExpectNothingDone();
}

TEST_F(LoginTest, DamagedLink_ReturnsMinus3) {
  StoreLink(OpenEntry());
  for (const char* data :
       {"[]", "{", "{\"app\":{},\"protect_type\":\"none\",\"protect_uids\":[\"x\"]}"}) {
    platform_.Sql(std::string("UPDATE entry SET data='") + data + "'");
    EXPECT_EQ(-3, Login()) << data;
  }
  ExpectNothingDone();
}

TEST_F(LoginTest, StartAndExpiry_AreStrict) {
  StoreLink(OpenEntry());
  const struct {
    const char* column;
    long distance;
    int result;
  } cases[] = {{"expire_at", -1, -3}, {"expire_at", 0, 1}, {"expire_at", 1, 1},
               {"start_at", -1, 1},   {"start_at", 0, 1},  {"start_at", 1, -3}};

  for (const auto& [column, distance, expected] : cases) {
    int result = 0;
    InOneSecond([&, column = column, distance = distance](long now) {
      platform_.Sql(std::string("UPDATE entry SET start_at=0, expire_at=0, ") + column +
                    "=" + std::to_string(now + distance));
      result = Login();
    });
    EXPECT_EQ(expected, result) << column << " now " << distance;
  }
}

TEST_F(LoginTest, LastUse_IsAdmittedAndTheNextReturnsMinus11) {
  Entry entry = OpenEntry();
  entry.set_expire_times(3);
  entry.set_use_count(2);
  StoreLink(entry);

  EXPECT_EQ(1, Login());
  EXPECT_EQ("3", One("SELECT use_count FROM entry"));
  out_ = "before";
  EXPECT_EQ(-11, Login());
  EXPECT_EQ("3", One("SELECT use_count FROM entry"));
  EXPECT_EQ("before", out_);
  EXPECT_EQ(0, Recorded());
}

TEST_F(LoginTest, UsesBeyondTheLimit_AreRefused) {
  const struct {
    int expire_times;
    int use_count;
    int result;
  } cases[] = {{0, 100, 1}, {1, 0, 1},    {1, 1, -11},    {3, 3, -11},
               {3, 4, -3},  {-1, 100, 1}, {0, INT_MAX, 1}};
  StoreLink(OpenEntry());

  for (const auto& [expire_times, use_count, result] : cases) {
    platform_.Sql("UPDATE entry SET expire_times=" + std::to_string(expire_times) +
                  ", use_count=" + std::to_string(use_count));
    EXPECT_EQ(result, Login()) << expire_times << " " << use_count;
  }
  EXPECT_EQ("2147483647", One("SELECT use_count FROM entry"));
}

TEST_F(LoginTest, PasswordLinkAtItsUseLimit_ReturnsMinus11WhateverThePassword) {
  Entry entry = PasswordEntry();
  entry.set_expire_times(1);
  entry.set_use_count(1);
  StoreLink(entry);

  EXPECT_EQ(-11, Login());
  EXPECT_EQ(0, Recorded());
}

TEST_F(LoginTest, RightPassword_Returns1) {
  for (const auto algo : {Entry::ENCRYPT_ALGO_DEFAULT, Entry::ENCRYPT_ALGO_MD5}) {
    platform_.Sql("DELETE FROM entry");
    StoreLink(PasswordEntry(algo));
    params_.password = "secret";

    EXPECT_EQ(1, Login());
    EXPECT_EQ(0, Recorded());
  }
}

TEST_F(LoginTest, NoPassword_ReturnsMinus3AndIsRecorded) {
  StoreLink(PasswordEntry());

  EXPECT_EQ(-3, Login());
  EXPECT_EQ(1, Recorded());
  EXPECT_EQ(-3, Login(true));
  EXPECT_EQ(2, Recorded());
  ExpectNothingDone();
}

TEST_F(LoginTest, WrongPassword_ReturnsMinus9AndIsRecorded) {
  for (const auto algo : {Entry::ENCRYPT_ALGO_DEFAULT, Entry::ENCRYPT_ALGO_MD5}) {
    platform_.Sql("DELETE FROM entry");
    platform_.failed_logins.clear();
    StoreLink(PasswordEntry(algo));

    for (const char* password : {"Secret", "", "secret ", "secre"}) {
      params_.password = password;
      EXPECT_EQ(-9, Login());
    }
    EXPECT_EQ(4, Recorded());
    EXPECT_EQ(-9, Login(true));
    EXPECT_EQ(5, Recorded());
    ExpectNothingDone();
  }
}

TEST_F(LoginTest, RefusalCannotBeRecorded_KeepsItsResult) {
  StoreLink(PasswordEntry());
  params_.password = "wrong";
  platform_.Fail("AutoBlockFailLoginSet");

  EXPECT_EQ(-9, Login());
  ExpectNothingDone();
}

TEST_F(LoginTest, Success_SuppressedAutoblock_KeepsTheRecord) {
  StoreLink(OpenEntry());
  platform_.failed_logins[platform_.remote_ip] = {"SHARING", 3};

  EXPECT_EQ(1, Login(true));
  EXPECT_EQ(3, Recorded());
  EXPECT_THAT(platform_.calls({"VEXOAutoBlockFailLoginReset"}), IsEmpty());
  EXPECT_EQ(1, Login(false));
  EXPECT_EQ(0, Recorded());
}

TEST_F(LoginTest, ListedUser_Returns1AndTheSessionHasTheUser) {
  StoreLink(UserEntry({1001}));
  params_.username = "anna";
  params_.user_password = "anna's";

  EXPECT_EQ(1, Login());
  EXPECT_EQ("1001", One("SELECT uid FROM session"));
  EXPECT_EQ(0, Recorded());
  ASSERT_THAT(platform_.logins, SizeIs(1));
  EXPECT_EQ("anna", platform_.logins[0].username);
  EXPECT_EQ("anna's", platform_.logins[0].password);
  EXPECT_EQ("webui", platform_.logins[0].application);
  EXPECT_EQ(15, platform_.logins[0].reserved1);
  EXPECT_EQ(1, platform_.logins[0].reserved2);
}

TEST_F(LoginTest, ListedUser_StepsOfTheCheckComeInTheirOrder) {
  StoreLink(UserEntry({1001}));
  params_.username = "anna";
  params_.user_password = "anna's";

  ASSERT_EQ(1, Login());
  EXPECT_THAT(
      platform_.calls({"VexoCgiInit", "VexoCgiLoadInCookies", "VexoCgiGetRequestParam",
                       "VexoCgiSetCookies", "VexoCgiLogin", "VexoCgiFree",
                       "VEXOUserLoginNameConvert", "VEXOUserGet", "VEXOUserGetByUID",
                       "VEXOUserFree", "VLIBGroupInfoHashGet"}),
      ElementsAre(
          "VexoCgiInit()", "VexoCgiLoadInCookies()", "VexoCgiGetRequestParam(_sid, 0)",
          "VEXOUserLoginNameConvert(anna, 493, 0)", "VexoCgiLogin(anna, 123)",
          "VEXOUserLoginNameConvert(anna, 493, 0)", "VEXOUserGet(anna)",
          "VLIBGroupInfoHashGet(anna, 1, 0)", "VEXOUserFree(anna)", "VexoCgiFree()"));
}

TEST_F(LoginTest, GroupMember_Returns1) {
  StoreLink(UserEntry({}, {7, 50}));
  params_.username = "anna";
  params_.user_password = "anna's";

  EXPECT_EQ(1, Login());
  EXPECT_EQ("1001", One("SELECT uid FROM session"));
}

TEST_F(LoginTest, UserNamedBeforeTheAccountExisted_Returns1) {
  Entry entry = UserEntry({7});
  entry.set_protect_users({"carl"});
  StoreLink(entry);
  platform_.users["carl"] = {1003, {}, "carl's"};
  params_.username = "carl";
  params_.user_password = "carl's";

  EXPECT_EQ(1, Login());
}

TEST_F(LoginTest, UserNotListed_ReturnsMinus10RecordedUnlessSuppressed) {
  StoreLink(UserEntry({1001}, {50}));
  params_.username = "bert";
  params_.user_password = "bert's";

  EXPECT_EQ(-10, Login(true));
  EXPECT_EQ(0, Recorded());
  EXPECT_EQ(-10, Login(false));
  EXPECT_EQ(1, Recorded());
  ExpectNothingDone();
}

TEST_F(LoginTest, CredentialsRefused_ReturnsMinus2AndIsRecorded) {
  StoreLink(UserEntry({1001}));
  const struct {
    const char* username;
    const char* password;
  } cases[] = {
      {"anna", "wrong"}, {"anna", ""}, {"anna", nullptr}, {"nobody", "x"}, {"", "x"}};
  int recorded = 0;

  for (const auto& [username, password] : cases) {
    params_.username = username;
    params_.user_password = password;
    EXPECT_EQ(-2, Login()) << username;
    EXPECT_EQ(-2, Login(true)) << username;
    recorded += 2;
    EXPECT_EQ(recorded, Recorded());
  }
  ExpectNothingDone();
}

TEST_F(LoginTest, CredentialsRefused_LooksUpNoUser) {
  StoreLink(UserEntry({1001}));
  params_.username = "anna";
  params_.user_password = "wrong";

  EXPECT_EQ(-2, Login());
  EXPECT_THAT(platform_.calls({"VEXOUserGet", "VEXOUserFree"}), IsEmpty());
  EXPECT_THAT(platform_.calls({"VexoCgiFree"}), SizeIs(1));
}

TEST_F(LoginTest, UserCheckFails_ReturnsMinus3AndIsRecordedAndFreed) {
  StoreLink(UserEntry({1001}));
  params_.username = "anna";
  params_.user_password = "anna's";
  platform_.request_params["_sid"] = "appliance sid";
  int recorded = 0;

  for (const char* function :
       {"VexoCgiInit", "VexoCgiSetCookies", "VEXOUserGet", "VLIBGroupInfoHashGet"}) {
    for (const bool suppress : {false, true}) {
      platform_.ForgetCalls();
      platform_.FailOnce(function);

      EXPECT_EQ(-3, Login(suppress)) << function;
      EXPECT_EQ(++recorded, Recorded()) << function;
      EXPECT_THAT(platform_.calls({"VexoCgiFree"}), SizeIs(1)) << function;
    }
  }
  ExpectNothingDone();
}

TEST_F(LoginTest, UserLookupSucceedsWithoutARecord_ReturnsMinus3) {
  StoreLink(UserEntry({1001}));
  platform_.uid_results[4294967295U] = 0;

  EXPECT_EQ(-3, Login());
  EXPECT_EQ(1, Recorded());
  ExpectNothingDone();
}

TEST_F(LoginTest, NoUserName_LooksUpTheUnsetIdAndReturnsMinus3) {
  StoreLink(UserEntry({1001}));

  EXPECT_EQ(-3, Login());
  EXPECT_EQ(1, Recorded());
  EXPECT_THAT(platform_.calls({"VEXOUserGetByUID"}),
              ElementsAre("VEXOUserGetByUID(4294967295)"));
  EXPECT_THAT(platform_.logins, IsEmpty());
  ExpectNothingDone();
}

TEST_F(LoginTest, LoginName_IsConvertedForTheLoginAndTheUserIsFoundByTheNameGiven) {
  StoreLink(UserEntry({1001}));
  platform_.login_names["ANNA@home"] = "anna";
  params_.username = "ANNA@home";
  params_.user_password = "anna's";

  EXPECT_EQ(1, Login());
  EXPECT_EQ("anna", platform_.logins.at(0).username);
  EXPECT_THAT(platform_.calls({"VEXOUserLoginNameConvert"}),
              ElementsAre("VEXOUserLoginNameConvert(ANNA@home, 493, 0)",
                          "VEXOUserLoginNameConvert(ANNA@home, 493, 0)"));
}

TEST_F(LoginTest, SidParameter_BecomesTheCookieOfTheLogin) {
  StoreLink(UserEntry({1001}));
  params_.username = "anna";
  params_.user_password = "anna's";
  platform_.request_params["_sid"] = "appliance sid";

  EXPECT_EQ(1, Login());
  EXPECT_THAT(platform_.calls({"VexoCgiSetCookies"}),
              ElementsAre("VexoCgiSetCookies(id, appliance sid, 0, /, null, 0)"));
  EXPECT_EQ((std::map<std::string, std::string>{{"id", "appliance sid"}}),
            platform_.logins.at(0).cookies);
}

TEST_F(LoginTest, SidParameterEmpty_SetsNoCookie) {
  StoreLink(UserEntry({1001}));
  params_.username = "anna";
  params_.user_password = "anna's";
  platform_.request_params["_sid"] = "";

  EXPECT_EQ(1, Login());
  EXPECT_THAT(platform_.calls({"VexoCgiSetCookies"}), IsEmpty());
}

TEST_F(LoginTest, KnownSession_IsUsedAgainWithNewAddressAndDeadline) {
  StoreLink(OpenEntry());
  AddSession(platform_, 7, "known", kFarAhead, "198.51.100.1", 1002);
  params_.session_id = "known";

  EXPECT_EQ(1, Login());
  EXPECT_EQ("known", out_);
  EXPECT_EQ((fakes::Rows{{"7", "known", "1002", "192.0.2.7"}}),
            platform_.Sql("SELECT id, session_id, uid, ip FROM session"));
  EXPECT_GE(time(nullptr) + kDay, std::stol(One("SELECT timeout FROM session")));
  EXPECT_EQ("7", One("SELECT session_id FROM token"));
  EXPECT_THAT(platform_.calls({"getString"}), IsEmpty());
}

TEST_F(LoginTest, KnownSession_UserLink_TakesTheNewUser) {
  StoreLink(UserEntry({1001}));
  AddSession(platform_, 7, "known", kFarAhead, "192.0.2.7", 1002);
  params_ = {"hash", nullptr, "anna", "anna's", "known"};

  EXPECT_EQ(1, Login());
  EXPECT_EQ("1001", One("SELECT uid FROM session"));
}

TEST_F(LoginTest, ExpiredSession_IsRevivedUnderItsId) {
  StoreLink(OpenEntry());
  AddSession(platform_, 7, "old", 1000);
  params_.session_id = "old";
  const long before = time(nullptr);

  EXPECT_EQ(1, Login());
  EXPECT_EQ("old", out_);
  EXPECT_EQ("7", One("SELECT id FROM session"));
  EXPECT_LE(before + kDay, std::stol(One("SELECT timeout FROM session")));
}

TEST_F(LoginTest, UnknownSession_IsReplacedByANewOne) {
  StoreLink(OpenEntry());

  for (const char* session_id : {"unknown", "", "x' OR '1'='1"}) {
    params_.session_id = session_id;
    EXPECT_EQ(1, Login());
    EXPECT_NE(session_id, out_);
    EXPECT_THAT(out_, SizeIs(32));
  }
  EXPECT_EQ("3", Count("session"));
}

TEST_F(LoginTest, SecondLogin_MovesTheTokensDeadlineAndCreatesNoSecondToken) {
  StoreLink(OpenEntry());
  ASSERT_EQ(1, Login());
  platform_.Sql("UPDATE token SET timeout=" + std::to_string(kFarAhead));
  const std::string first = out_;
  params_.session_id = first.c_str();

  EXPECT_EQ(1, Login());
  EXPECT_EQ(first, out_);
  EXPECT_EQ("1", Count("session"));
  EXPECT_EQ("1", Count("token"));
  EXPECT_GE(time(nullptr) + kDay, std::stol(One("SELECT timeout FROM token")));
  EXPECT_EQ("2", One("SELECT use_count FROM entry"));
}

TEST_F(LoginTest, ExpiredToken_StaysBesideTheNewOne) {
  StoreLink(OpenEntry());
  AddSession(platform_, 7, "known");
  AddToken(platform_, 3, 1, 7, 1000);
  params_.session_id = "known";

  EXPECT_EQ(1, Login());
  EXPECT_EQ((fakes::Rows{{"3"}, {"4"}}),
            platform_.Sql("SELECT id FROM token ORDER BY id"));
  EXPECT_EQ(1, VEXO::VexoSharingIsAuthorized(&params_));
}

TEST_F(LoginTest, UseCountFails_IsLoggedAndTheLoginGoesOn) {
  StoreLink(OpenEntry());
  platform_.FailStatement("UPDATE entry");

  EXPECT_EQ(1, Login());
  EXPECT_THAT(log_.lines(),
              Contains(MatchesRegex("sharinglogin:[0-9]+ update entry use count fail")));
  EXPECT_EQ("0", One("SELECT use_count FROM entry"));
}

TEST_F(LoginTest, SessionCannotBeStored_ReturnsMinus4) {
  StoreLink(OpenEntry());
  platform_.FailStatement("INSERT INTO session");

  EXPECT_EQ(-4, Login());
  EXPECT_THAT(platform_.calls({"getString"}), SizeIs(51));
  EXPECT_THAT(platform_.statements(), Contains("DELETE FROM token WHERE id=0"));
  EXPECT_EQ("before", out_);
  EXPECT_EQ(0, Recorded());
  EXPECT_EQ("0", Count("token"));
}

TEST_F(LoginTest, TokenCannotBeStored_ReturnsMinus4) {
  StoreLink(OpenEntry());
  platform_.FailStatement("INSERT INTO token");
  platform_.failed_logins[platform_.remote_ip] = {"SHARING", 3};

  EXPECT_EQ(-4, Login());
  EXPECT_THAT(platform_.statements(), Contains("DELETE FROM token WHERE id=0"));
  EXPECT_EQ("before", out_);
  EXPECT_EQ(3, Recorded());
}

TEST_F(LoginTest, FoundTokenCannotBeUpdated_ReturnsMinus4AndItIsDeleted) {
  StoreLink(OpenEntry());
  AddSession(platform_, 7, "known");
  AddToken(platform_, 3, 1, 7);
  params_.session_id = "known";
  platform_.FailStatement("UPDATE token");

  EXPECT_EQ(-4, Login());
  EXPECT_EQ("before", out_);
  EXPECT_EQ("0", Count("token"));
  EXPECT_EQ("1", Count("session"));
}

TEST_F(LoginTest, SessionCannotBeUpdated_ReturnsMinus4AndTheNewTokenIsDeleted) {
  StoreLink(OpenEntry());
  platform_.FailStatement("UPDATE session");

  EXPECT_EQ(-4, Login());
  EXPECT_EQ("before", out_);
  EXPECT_EQ("0", Count("token"));
  EXPECT_EQ(0, Recorded());
  EXPECT_THAT(platform_.statements(), Contains("DELETE FROM token WHERE id=1"));
}

TEST_F(LoginTest, UnusualTexts_AreHandled) {
  const std::string rough = UnusualText();
  Entry entry = OpenEntry();
  entry.set_hash(rough);
  StoreLink(entry);
  params_ = {rough.c_str(), rough.c_str(), rough.c_str(), rough.c_str(), rough.c_str()};

  EXPECT_EQ(1, Login());
  EXPECT_THAT(out_, SizeIs(32));
  params_.hash = "' OR '1'='1";
  EXPECT_EQ(-3, Login());
}

TEST_F(LoginTest, LocaleWithDigitGrouping_StoresPlainNumbers) {
  StoreLink(UserEntry({1001}));
  platform_.Sql("INSERT INTO sqlite_sequence VALUES ('session',1234566)");
  platform_.Sql("INSERT INTO sqlite_sequence VALUES ('token',7654320)");
  params_ = {"hash", nullptr, "anna", "anna's", nullptr};
  const fakes::DigitGrouping grouping;

  EXPECT_EQ(1, Login());
  params_ = {"hash", nullptr, nullptr, nullptr, out_.c_str()};
  EXPECT_EQ(1, VEXO::VexoSharingIsAuthorized(&params_));
  EXPECT_EQ((fakes::Rows{{"7654321", "1", "1234567"}}),
            platform_.Sql("SELECT id, entry_id, session_id FROM token"));
  EXPECT_EQ("1001", One("SELECT uid FROM session"));
  EXPECT_TRUE(VEXO::VexoSharingLogout("hash", out_));
  EXPECT_EQ("0", Count("token"));
}

class PlainLoginTest : public VisitorTest {
 protected:
  PlainLoginTest() {
    std::fill(std::begin(buffer_), std::end(buffer_), '#');
    StoreLink(OpenEntry());
    platform_.random_strings = {"0123456789abcdefghijklmnopqrstuv"};
  }

  /// All bytes of the buffer.
  std::string Buffer() { return {buffer_, sizeof(buffer_)}; }

  char buffer_[40];
};

TEST_F(PlainLoginTest, LongerBuffer_KeepsItsBytesBetweenTheIdAndTheLast) {
  EXPECT_EQ(1, ::VexoSharingLogin(buffer_, 40, &params_, 0));
  EXPECT_EQ("0123456789abcdefghijklmnopqrstuv#######" + std::string(1, '\0'), Buffer());
}

TEST_F(PlainLoginTest, BufferOfTheIdAndOne_HoldsItTerminated) {
  EXPECT_EQ(1, ::VexoSharingLogin(buffer_, 33, &params_, 0));
  EXPECT_EQ("0123456789abcdefghijklmnopqrstuv" + std::string(1, '\0') + "#######",
            Buffer());
}

TEST_F(PlainLoginTest, BufferOfTheIdsLength_CutsItsLastCharacter) {
  EXPECT_EQ(1, ::VexoSharingLogin(buffer_, 32, &params_, 0));
  EXPECT_EQ("0123456789abcdefghijklmnopqrstu" + std::string(1, '\0') + "########",
            Buffer());
}

TEST_F(PlainLoginTest, ShortBuffer_HoldsTheFirstCharacters) {
  EXPECT_EQ(1, ::VexoSharingLogin(buffer_, 10, &params_, 0));
  EXPECT_EQ("012345678" + std::string(1, '\0') + std::string(30, '#'), Buffer());
}

TEST_F(PlainLoginTest, BufferOfOneByte_HoldsTheTerminatorAlone) {
  EXPECT_EQ(1, ::VexoSharingLogin(buffer_, 1, &params_, 0));
  EXPECT_EQ(std::string(1, '\0') + std::string(39, '#'), Buffer());
}

TEST_F(PlainLoginTest, Failure_WritesTheLastByteAlone) {
  params_.hash = "unknown";

  EXPECT_EQ(-3, ::VexoSharingLogin(buffer_, 10, &params_, 0));
  EXPECT_EQ(std::string(9, '#') + std::string(1, '\0') + std::string(30, '#'), Buffer());
}

TEST_F(PlainLoginTest, NoBuffer_ReturnsMinus4WithoutALogin) {
  EXPECT_EQ(-4, ::VexoSharingLogin(nullptr, 10, &params_, 0));
  EXPECT_EQ(-4, ::VexoSharingLogin(buffer_, 0, &params_, 0));
  EXPECT_EQ(std::string(40, '#'), Buffer());
  EXPECT_THAT(platform_.calls(), IsEmpty());
}

TEST_F(PlainLoginTest, NullParameters_ReturnsMinus4) {
  EXPECT_EQ(-4, ::VexoSharingLogin(buffer_, 10, nullptr, 0));
}

TEST_F(PlainLoginTest, Flag_SuppressesTheRecordOnlyWhenItIs1) {
  platform_.Sql("DELETE FROM entry");
  StoreLink(UserEntry({1001}));
  params_ = {"hash", nullptr, "bert", "bert's", nullptr};
  const struct {
    int flag;
    int recorded;
  } cases[] = {{1, 0}, {0, 1}, {2, 2}, {-1, 3}, {1, 3}, {INT_MAX, 4}};

  for (const auto& [flag, recorded] : cases) {
    EXPECT_EQ(-10, ::VexoSharingLogin(buffer_, 40, &params_, flag));
    EXPECT_EQ(recorded, Recorded()) << flag;
  }
}

}  // namespace
}  // namespace VEXO
