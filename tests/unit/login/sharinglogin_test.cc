#include "sharinglogin.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <stdexcept>

#include "digit_grouping.h"
#include "entry_db.h"
#include "failure_sweep.h"
#include "fake_platform.h"
#include "log_capture.h"
#include "log_matchers.h"
#include "one_second.h"
#include "sharing_db.h"
#include "store_test.h"

namespace VEXO {
namespace {

using fakes::InOneSecond;
using sharing::db::Calls;
using sharing::db::EntryDB;
using sharing::db::Failure;
using sharing::db::LegalEntry;
using sharing::db::RoughText;
using sharing::db::SharingDB;
using sharing::db::SweepFailures;
using sharing::record::Entry;
using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

constexpr long kFarAhead = 9999999999;
constexpr long kDay = 86400;

Entry OpenEntry() { return LegalEntry(); }

Entry PasswordEntry(Entry::PasswordEncryptAlgo algo = Entry::ENCRYPT_ALGO_DEFAULT) {
  Entry entry = LegalEntry();
  entry.set_protect_type(Entry::PROTECT_PASSWORD);
  entry.set_protect_password("secret", true, algo);
  return entry;
}

Entry UserEntry(const std::vector<unsigned int>& uids,
                const std::vector<unsigned int>& gids = {}) {
  Entry entry = LegalEntry();
  entry.set_protect_type(Entry::PROTECT_USER);
  entry.set_protect_uids(uids);
  entry.set_protect_gids(gids);
  return entry;
}

void Store(Entry entry) { ASSERT_TRUE(EntryDB(SharingDB::Instance()).Create(entry)); }

void AddAccounts(fakes::Platform& platform) {
  platform.groups = {{"staff", 50}, {"guests", 60}};
  platform.users["anna"] = {1001, {"staff"}, "anna's"};
  platform.users["bert"] = {1002, {"guests"}, "bert's"};
}

void AddSession(fakes::Platform& platform, int id, const std::string& session_id,
                long timeout = kFarAhead, const std::string& ip = "192.0.2.7",
                unsigned int uid = 4294967295U) {
  platform.Sql("INSERT INTO session VALUES (" + std::to_string(id) + ",'" + session_id +
               "'," + std::to_string(uid) + ",'" + ip + "'," + std::to_string(timeout) +
               ")");
}

void AddToken(fakes::Platform& platform, int id, int entry_id, int session_id,
              long timeout = kFarAhead) {
  platform.Sql("INSERT INTO token VALUES (" + std::to_string(id) + "," +
               std::to_string(entry_id) + "," + std::to_string(session_id) + "," +
               std::to_string(timeout) + ")");
}

/// The shared database is open and empty.
class VisitorTest : public testing::Test {
 protected:
  VisitorTest() {
    SharingDB::Instance();
    AddAccounts(platform_);
    platform_.ForgetCalls();
  }

  void SetUp() override { ASSERT_TRUE(SharingDB::Instance().IsGood()); }

  void StoreLink(const Entry& entry) {
    Store(entry);
    platform_.ForgetCalls();
  }

  int Login(bool suppress_autoblock = false) {
    return VEXO::VexoSharingLogin(out_, &params_, suppress_autoblock);
  }

  std::string One(const std::string& sql) {
    const fakes::Rows rows = platform_.Sql(sql);
    return rows.size() == 1 && rows[0].size() == 1 ? rows[0][0] : "not one value";
  }
  std::string Count(const std::string& table) {
    return One("SELECT count(*) FROM " + table);
  }

  /// Failed logins counted for the visitor's address; the service is fixed.
  int Recorded() {
    const auto found = platform_.failed_logins.find(platform_.remote_ip);
    if (found == platform_.failed_logins.end()) {
      return 0;
    }
    EXPECT_EQ("SHARING", found->second.first);
    return found->second.second;
  }

  /// That the operation failed: nothing was handed out, stored or counted as a use.
  void ExpectNothingDone() {
    EXPECT_EQ("before", out_);
    EXPECT_EQ("0", Count("session"));
    EXPECT_EQ("0", Count("token"));
    EXPECT_EQ("0", One("SELECT coalesce(sum(use_count), 0) FROM entry"));
    EXPECT_THAT(platform_.calls({"VEXOAutoBlockFailLoginReset"}), IsEmpty());
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
  _tag_sharing_login_params params_ = {"hash", nullptr, nullptr, nullptr, nullptr};
  std::string out_ = "before";
};

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

TEST_F(LoginTest, UsedUpPasswordLink_ReturnsMinus11WhateverThePassword) {
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

TEST_F(LoginTest, ListedUser_Returns1AndTheSessionCarriesHim) {
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

TEST_F(LoginTest, UserNamedOnTheLinkBeforeHeExisted_Returns1) {
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

TEST_F(LoginTest, CredentialsRefused_LooksNobodyUp) {
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

TEST_F(LoginTest, NoUserName_AsksForTheUnsetIdAndReturnsMinus3) {
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

TEST_F(LoginTest, SecondLogin_MovesTheTokensDeadlineAndMakesNoSecondOne) {
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

TEST_F(LoginTest, RoughTexts_BreakNothing) {
  const std::string rough = RoughText();
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

  /// What stands in the buffer, whole.
  std::string Buffer() { return {buffer_, sizeof buffer_}; }

  char buffer_[40];
};

TEST_F(PlainLoginTest, LongerBuffer_KeepsWhatStandsBetweenTheIdAndItsLastByte) {
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

/// A session 7, "sid", with the token 3 for the link 1, "hash"; another link 2.
class AuthorizeTest : public VisitorTest {
 protected:
  AuthorizeTest() {
    StoreLink(OpenEntry());
    StoreLink(LegalEntry("other"));
    AddSession(platform_, 7, "sid");
    AddToken(platform_, 3, 1, 7);
    params_.session_id = "sid";
  }

  int Authorize() { return VEXO::VexoSharingIsAuthorized(&params_); }

  void Protect(const Entry& entry) {
    Entry changed = entry;
    changed.set_id(1);
    ASSERT_TRUE(EntryDB(SharingDB::Instance()).Update(changed));
    platform_.ForgetCalls();
  }

  /// The operations' own log lines.
  Calls OwnLines() {
    Calls lines;
    for (const std::string& line : log_.lines()) {
      if (line.find("sharinglogin:") == 0) {
        lines.push_back(line);
      }
    }
    return lines;
  }

  void ExpectDeadlinesUnchanged() {
    EXPECT_EQ("9999999999", One("SELECT timeout FROM session"));
    EXPECT_EQ("9999999999", One("SELECT timeout FROM token"));
  }
};

TEST_F(AuthorizeTest, AllInOrder_Returns1AndSetsBothDeadlinesOneDayAhead) {
  const long before = time(nullptr);

  EXPECT_EQ(1, Authorize());
  const long after = time(nullptr);
  for (const char* table : {"session", "token"}) {
    const long timeout = std::stol(One(std::string("SELECT timeout FROM ") + table));
    EXPECT_LE(before + kDay, timeout);  // it had been further ahead
    EXPECT_GE(after + kDay, timeout);
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AuthorizeTest, AllInOrder_TouchesNothingElse) {
  EXPECT_EQ(1, Authorize());
  EXPECT_EQ((fakes::Rows{{"7", "sid", "4294967295", "192.0.2.7"}}),
            platform_.Sql("SELECT id, session_id, uid, ip FROM session"));
  EXPECT_EQ((fakes::Rows{{"3", "1", "7"}}),
            platform_.Sql("SELECT id, entry_id, session_id FROM token"));
  EXPECT_EQ("0", One("SELECT sum(use_count) FROM entry"));
  EXPECT_THAT(platform_.calls({"VexoCgiIsDeniedIP", "AutoBlockFailLoginSet",
                               "VEXOAutoBlockFailLoginReset", "VexoCgiInit"}),
              IsEmpty());
}

TEST_F(AuthorizeTest, StepsComeInTheirOrder) {
  ASSERT_EQ(1, Authorize());
  EXPECT_THAT(platform_.statements(),
              ElementsAre("SELECT * FROM session WHERE session_id = 'sid'",
                          "SELECT * FROM entry WHERE hash = 'hash'",
                          "SELECT * FROM token WHERE session_id = 7 AND entry_id = 1",
                          StartsWith("UPDATE session SET "),
                          StartsWith("UPDATE token SET "), "PRAGMA wal_checkpoint;",
                          "PRAGMA wal_checkpoint;", "PRAGMA wal_checkpoint;"));
}

TEST_F(AuthorizeTest, BlockedAddress_IsNotAskedFor) {
  platform_.denied_ips.insert(platform_.remote_ip);

  EXPECT_EQ(1, Authorize());
}

TEST_F(AuthorizeTest, NullParameters_ReturnsMinus4BeforeTheAddressIsRead) {
  EXPECT_EQ(-4, VEXO::VexoSharingIsAuthorized(nullptr));
  params_.session_id = nullptr;
  EXPECT_EQ(-4, Authorize());
  params_ = {nullptr, nullptr, nullptr, nullptr, "sid"};
  EXPECT_EQ(-4, Authorize());
  EXPECT_THAT(platform_.calls({"VexoCgiGetRemoteIP"}), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AuthorizeTest, NoAddress_ReturnsMinus4Logged) {
  platform_.Fail("VexoCgiGetRemoteIP");

  EXPECT_EQ(-4, Authorize());
  EXPECT_THAT(log_.lines(), ElementsAre(MatchesRegex("sharinglogin:[0-9]+ invalid ip")));
  ExpectDeadlinesUnchanged();
}

TEST_F(AuthorizeTest, UnknownSession_ReturnsMinus5) {
  params_.session_id = "unknown";
  EXPECT_EQ(-5, Authorize());
  params_.hash = "unknown";  // the session is looked up first
  EXPECT_EQ(-5, Authorize());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AuthorizeTest, UnknownLink_ReturnsMinus7) {
  params_.hash = "unknown";

  EXPECT_EQ(-7, Authorize());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AuthorizeTest, NoTokenForTheLink_ReturnsMinus7) {
  params_.hash = "other";

  EXPECT_EQ(-7, Authorize());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(AuthorizeTest, TokenOfAnotherSession_ReturnsMinus7) {
  AddSession(platform_, 8, "second");
  params_.session_id = "second";

  EXPECT_EQ(-7, Authorize());
}

TEST_F(AuthorizeTest, DisabledLink_ReturnsMinus6) {
  platform_.Sql("UPDATE entry SET enabled=0");

  EXPECT_EQ(-6, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ entry is not valid")));
  ExpectDeadlinesUnchanged();
}

TEST_F(AuthorizeTest, LinkNotLegalAnyMore_ReturnsMinus6) {
  platform_.Sql("UPDATE entry SET data='[]' WHERE id=1");

  EXPECT_EQ(-6, Authorize());
}

TEST_F(AuthorizeTest, UsedUpLink_IsStillAuthorizedUntilItIsExceeded) {
  platform_.Sql("UPDATE entry SET expire_times=3, use_count=3");
  EXPECT_EQ(1, Authorize());

  platform_.Sql("UPDATE entry SET use_count=4");
  EXPECT_EQ(-6, Authorize());
}

TEST_F(AuthorizeTest, ExpiredSession_ReturnsMinus1AndKeepsRowAndToken) {
  platform_.Sql("UPDATE session SET timeout=1000");

  EXPECT_EQ(-1, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ session is not valid")));
  EXPECT_EQ("1000", One("SELECT timeout FROM session"));
  EXPECT_EQ("9999999999", One("SELECT timeout FROM token"));
}

TEST_F(AuthorizeTest, ExpiredToken_ReturnsMinus1AndDeletesTheRow) {
  platform_.Sql("UPDATE token SET timeout=1000");

  EXPECT_EQ(-1, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ token is not valid")));
  EXPECT_EQ("0", Count("token"));
  EXPECT_EQ("9999999999", One("SELECT timeout FROM session"));
  EXPECT_EQ(-7, Authorize());
}

TEST_F(AuthorizeTest, ExpiredTokenCannotBeDeleted_ReturnsMinus4) {
  platform_.Sql("UPDATE token SET timeout=1000");
  platform_.FailStatement("DELETE");

  EXPECT_EQ(-4, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ token is not valid"),
                          MatchesRegex("sharinglogin:[0-9]+ delete token failed")));
}

TEST_F(AuthorizeTest, Deadlines_AreStrict) {
  for (const char* table : {"session", "token"}) {
    for (const long distance : {0L, 2L}) {
      int result = 0;
      InOneSecond([&](long now) {
        platform_.Sql("DELETE FROM token");
        AddToken(platform_, 3, 1, 7);
        platform_.Sql("UPDATE session SET timeout=" + std::to_string(kFarAhead));
        platform_.Sql(std::string("UPDATE ") + table +
                      " SET timeout=" + std::to_string(now + distance));
        result = Authorize();
      });
      EXPECT_EQ(distance == 0 ? -1 : 1, result) << table << " now " << distance;
    }
  }
}

TEST_F(AuthorizeTest, SeveralFaults_AreAnsweredInTheFixedOrder) {
  platform_.Sql("UPDATE session SET timeout=1000, ip='198.51.100.1'");
  platform_.Sql("UPDATE token SET timeout=1000");
  platform_.Sql("UPDATE entry SET enabled=0");

  EXPECT_EQ(-6, Authorize());
  platform_.Sql("UPDATE entry SET enabled=1");
  EXPECT_EQ(-1, Authorize());
  EXPECT_EQ("1", Count("token"));
  platform_.Sql("UPDATE session SET timeout=9999999999");
  EXPECT_EQ(-1, Authorize());
  EXPECT_EQ("0", Count("token"));
}

TEST_F(AuthorizeTest, UserStillListed_Returns1WithoutALogin) {
  Protect(UserEntry({1001}));
  platform_.Sql("UPDATE session SET uid=1001");

  EXPECT_EQ(1, Authorize());
  EXPECT_THAT(platform_.calls({"VEXOUserGetByUID"}),
              ElementsAre("VEXOUserGetByUID(1001)"));
  EXPECT_THAT(platform_.logins, IsEmpty());
  EXPECT_THAT(platform_.calls({"VEXOUserFree", "VexoCgiFree"}),
              ElementsAre("VEXOUserFree(anna)", "VexoCgiFree()"));
}

TEST_F(AuthorizeTest, UserOfAListedGroup_Returns1) {
  Protect(UserEntry({}, {50}));
  platform_.Sql("UPDATE session SET uid=1001");

  EXPECT_EQ(1, Authorize());
}

TEST_F(AuthorizeTest, UserNotListedAnyMore_ReturnsMinus2) {
  Protect(UserEntry({1002}, {60}));
  platform_.Sql("UPDATE session SET uid=1001");

  EXPECT_EQ(-2, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ user login error")));
  ExpectDeadlinesUnchanged();
}

TEST_F(AuthorizeTest, UserGone_ReturnsMinus2) {
  Protect(UserEntry({1001}));
  platform_.Sql("UPDATE session SET uid=1001");
  platform_.users.clear();

  EXPECT_EQ(-2, Authorize());
}

TEST_F(AuthorizeTest, SessionOfNoUser_ReturnsMinus2) {
  Protect(UserEntry({1001}));

  EXPECT_EQ(-2, Authorize());
}

TEST_F(AuthorizeTest, UserLookupSucceedsWithoutARecord_ReturnsMinus2) {
  Protect(UserEntry({1001}));
  platform_.Sql("UPDATE session SET uid=1003");
  platform_.uid_results[1003] = 0;

  EXPECT_EQ(-2, Authorize());
}

TEST_F(AuthorizeTest, UserNameGiven_LogsHimInAgain) {
  Protect(UserEntry({1001}));
  platform_.Sql("UPDATE session SET uid=1002");
  params_.username = "anna";
  params_.user_password = "anna's";

  EXPECT_EQ(1, Authorize());
  EXPECT_THAT(platform_.logins, SizeIs(1));
  EXPECT_EQ("1002", One("SELECT uid FROM session"));
  params_.user_password = "wrong";
  EXPECT_EQ(-2, Authorize());
  EXPECT_EQ(0, Recorded());
}

TEST_F(AuthorizeTest, UserNameGivenForAnOpenLink_IsNotLookedAt) {
  params_.username = "anna";
  params_.user_password = "wrong";

  EXPECT_EQ(1, Authorize());
  EXPECT_THAT(platform_.logins, IsEmpty());
}

TEST_F(AuthorizeTest, PasswordLink_AsksForNoPasswordAgain) {
  Protect(PasswordEntry());

  EXPECT_EQ(1, Authorize());
}

TEST_F(AuthorizeTest, OtherAddress_BoundLink_ReturnsMinus8AndLogsTheSessionsFirst) {
  platform_.remote_ip = "198.51.100.1";

  EXPECT_EQ(-8, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ ip not match, "
                                       "192\\.0\\.2\\.7, 198\\.51\\.100\\.1")));
  ExpectDeadlinesUnchanged();
}

TEST_F(AuthorizeTest, OtherAddress_UnboundLink_Returns1AndKeepsTheSessionsAddress) {
  Entry entry = OpenEntry();
  entry.set_enable_match_ip(false);
  Protect(entry);
  platform_.remote_ip = "198.51.100.1";

  EXPECT_EQ(1, Authorize());
  EXPECT_EQ("192.0.2.7", One("SELECT ip FROM session"));
}

TEST_F(AuthorizeTest, UserCheck_ComesBeforeTheAddress) {
  Protect(UserEntry({1002}));
  platform_.remote_ip = "198.51.100.1";

  EXPECT_EQ(-2, Authorize());
}

TEST_F(AuthorizeTest, SessionCannotBeUpdated_ReturnsMinus4AndLeavesTheToken) {
  platform_.FailStatement("UPDATE session");

  EXPECT_EQ(-4, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ update session failed")));
  ExpectDeadlinesUnchanged();
}

TEST_F(AuthorizeTest, TokenCannotBeUpdated_ReturnsMinus4) {
  platform_.FailStatement("UPDATE token");

  EXPECT_EQ(-4, Authorize());
  EXPECT_THAT(OwnLines(),
              ElementsAre(MatchesRegex("sharinglogin:[0-9]+ update token failed")));
  EXPECT_EQ("9999999999", One("SELECT timeout FROM token"));
  EXPECT_NE("9999999999", One("SELECT timeout FROM session"));
}

TEST_F(AuthorizeTest, RoughTexts_BreakNothing) {
  const std::string rough = RoughText();
  params_ = {rough.c_str(), rough.c_str(), rough.c_str(), rough.c_str(), rough.c_str()};

  EXPECT_EQ(-5, Authorize());
  params_.session_id = "sid";
  EXPECT_EQ(-7, Authorize());
}

TEST_F(AuthorizeTest, PlainTwin_AnswersTheSame) {
  EXPECT_EQ(1, ::VexoSharingIsAuthorized(&params_));
  EXPECT_EQ(-4, ::VexoSharingIsAuthorized(nullptr));
  params_.session_id = "unknown";
  EXPECT_EQ(-5, ::VexoSharingIsAuthorized(&params_));
}

class LogoutTest : public AuthorizeTest {};

TEST_F(LogoutTest, RemovesTheTokenOfThatLinkAlone) {
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

TEST_F(LogoutTest, AddressIsNotRead) {
  EXPECT_TRUE(VEXO::VexoSharingLogout("hash", "sid"));
  EXPECT_THAT(platform_.calls({"VexoCgiGetRemoteIP"}), IsEmpty());
}

TEST_F(LogoutTest, RoughTexts_BreakNothing) {
  EXPECT_FALSE(VEXO::VexoSharingLogout(RoughText(), RoughText()));
  EXPECT_FALSE(VEXO::VexoSharingLogout("hash", "' OR '1'='1"));
  EXPECT_EQ("1", Count("token"));
}

/// That `call` throws the error of a null text.
void ExpectNullRefused(const std::function<void()>& call) {
  try {
    call();
    ADD_FAILURE() << "nothing thrown";
  } catch (const std::logic_error& error) {
    EXPECT_STREQ("basic_string::_M_construct null not valid", error.what());
  }
}

TEST_F(LogoutTest, PlainTwin_Returns1Or0AndThrowsForNull) {
  ExpectNullRefused([] { ::VexoSharingLogout(nullptr, "sid"); });
  ExpectNullRefused([] { ::VexoSharingLogout("hash", nullptr); });
  EXPECT_EQ("1", Count("token"));
  EXPECT_EQ(1, ::VexoSharingLogout("hash", "sid"));
  EXPECT_EQ(0, ::VexoSharingLogout("hash", "sid"));
}

class UseCountTest : public AuthorizeTest {};

TEST_F(UseCountTest, AddsOneToThatLink) {
  EXPECT_TRUE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_TRUE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_EQ((fakes::Rows{{"2"}, {"0"}}),
            platform_.Sql("SELECT use_count FROM entry ORDER BY id"));
}

TEST_F(UseCountTest, WritesTheWholeRowInTheTransactionThatReadIt) {
  EXPECT_TRUE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_THAT(
      platform_.statements(),
      ElementsAre("BEGIN IMMEDIATE", "SELECT * FROM entry WHERE hash = 'hash'",
                  MatchesRegex("UPDATE entry SET auto_gc='1',data='.*',enabled='1',"
                               "expire_at='0',expire_times='0',hash='hash',"
                               "owner_uid='1000',project_name='project',start_at='0',"
                               "use_count='1' WHERE id=1"),
                  "COMMIT", "PRAGMA wal_checkpoint;"));
}

TEST_F(UseCountTest, BeginFails_ReturnsFalseAndReadsNothing) {
  platform_.FailStatement("BEGIN");

  EXPECT_FALSE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_THAT(platform_.statements(),
              ElementsAre("BEGIN IMMEDIATE", "PRAGMA wal_checkpoint;"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(UseCountTest, CommitFails_ReturnsFalseAndRollsBackOnce) {
  platform_.FailStatement("COMMIT");

  EXPECT_FALSE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_THAT(platform_.statements(), Contains("ROLLBACK").Times(1));
  EXPECT_EQ("0", One("SELECT use_count FROM entry WHERE id=1"));
}

TEST_F(UseCountTest, CallerHasTransaction_CountsInsideIt) {
  SharingDB& db = SharingDB::Instance();
  ASSERT_TRUE(db.Begin());

  EXPECT_TRUE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_EQ("1", One("SELECT use_count FROM entry WHERE id=1"));
  ASSERT_TRUE(db.Execute("ROLLBACK"));
  EXPECT_EQ("0", One("SELECT use_count FROM entry WHERE id=1"));
}

TEST_F(UseCountTest, UnknownLink_IsFalseSilentlyAndChangesNothing) {
  EXPECT_FALSE(VEXO::VexoSharingIncreaseUseCount("unknown"));
  EXPECT_THAT(platform_.statements(), Contains("ROLLBACK"));
  EXPECT_EQ("0", One("SELECT sum(use_count) FROM entry"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(UseCountTest, LinkThatMayNotBeUsed_IsCountedAllTheSame) {
  platform_.Sql("UPDATE entry SET enabled=0, expire_at=1, expire_times=1, use_count=1");

  EXPECT_TRUE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_EQ("2", One("SELECT use_count FROM entry WHERE id=1"));
}

TEST_F(UseCountTest, LinkThatIsNotLegal_IsFalse) {
  platform_.Sql("UPDATE entry SET data='{}'");

  EXPECT_FALSE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_THAT(log_.lines(),
              ElementsAre(fakes::Refusal("entry", 336, "! app_.isObject()")));
}

TEST_F(UseCountTest, LargestNumber_Stays) {
  platform_.Sql("UPDATE entry SET use_count=2147483646");

  EXPECT_TRUE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_TRUE(VEXO::VexoSharingIncreaseUseCount("hash"));
  EXPECT_EQ("2147483647", One("SELECT use_count FROM entry WHERE id=1"));
}

TEST_F(UseCountTest, UpdateFails_IsFalse) {
  platform_.FailStatement("UPDATE");

  EXPECT_FALSE(VEXO::VexoSharingIncreaseUseCount("hash"));
}

TEST_F(UseCountTest, PlainTwin_Returns1Or0AndThrowsForNull) {
  ExpectNullRefused([] { ::VexoSharingIncreaseUseCount(nullptr); });
  EXPECT_EQ(1, ::VexoSharingIncreaseUseCount("hash"));
  EXPECT_EQ(0, ::VexoSharingIncreaseUseCount("unknown"));
}

/// Whether a login or a check may succeed although this call failed.  A failure that is
/// not listed here must refuse the visitor.
bool IsTolerated(const Failure& failure) {
  return !failure.happened() ||
         // The ids could not be put back: logged, and the work goes on.
         failure.IsOfLeaving() ||
         // The use could not be counted: logged, and the login goes on.
         failure.Logged("update entry use count fail") ||
         // A store's end cannot fail.
         failure.Concerns("PRAGMA wal_checkpoint;") ||
         failure.IsOf("VEXOAutoBlockFailLoginReset") ||
         // A session that was not found or not stored is replaced by a new one.
         failure.Concerns("INSERT INTO session") || failure.IsOf("getString") ||
         // A name that could not be converted is used as it is.
         failure.IsOf("VEXOUserLoginNameConvert") ||
         // A group that could not be looked up counts as none.
         failure.IsOf("VEXOGroupGetGID") ||
         // A value that could not be escaped is written as an empty text.
         (failure.IsOf("VEXODBEscapeStringEX2") &&
          (failure.Concerns("UPDATE ") || failure.Concerns("INSERT ")));
}

/// The same for a login alone: a session or token that was not found is made anew.
bool IsToleratedInLogin(const Failure& failure) {
  return IsTolerated(failure) || failure.Concerns("SELECT * FROM session") ||
         failure.Concerns("SELECT * FROM token");
}

struct Visit {
  const char* name;
  Entry entry;
  _tag_sharing_login_params params;
  bool admitted;
};

std::vector<Visit> Visits() {
  Entry used_up = OpenEntry();
  used_up.set_expire_times(1);
  used_up.set_use_count(1);
  Entry disabled = OpenEntry();
  disabled.set_enabled(false);
  return {
      {"open", OpenEntry(), {"hash", nullptr, nullptr, nullptr, nullptr}, true},
      {"known session", OpenEntry(), {"hash", nullptr, nullptr, nullptr, "sid"}, true},
      {"password", PasswordEntry(), {"hash", "secret", nullptr, nullptr, "sid"}, true},
      {"user", UserEntry({1001}), {"hash", nullptr, "anna", "anna's", "sid"}, true},
      {"group", UserEntry({}, {50}), {"hash", nullptr, "anna", "anna's", "sid"}, true},
      {"wrong password", PasswordEntry(), {"hash", "x", nullptr, nullptr, "sid"}, false},
      {"no password", PasswordEntry(), {"hash", nullptr, nullptr, nullptr, "sid"}, false},
      {"not listed",
       UserEntry({7}, {7}),
       {"hash", nullptr, "anna", "anna's", "sid"},
       false},
      {"refused", UserEntry({1001}), {"hash", nullptr, "anna", "x", "sid"}, false},
      {"no user", UserEntry({1001}), {"hash", nullptr, nullptr, nullptr, "sid"}, false},
      {"used up", used_up, {"hash", nullptr, nullptr, nullptr, "sid"}, false},
      {"disabled", disabled, {"hash", nullptr, nullptr, nullptr, "sid"}, false},
      {"unknown", OpenEntry(), {"other", nullptr, nullptr, nullptr, "sid"}, false}};
}

/// The visitor's world for a sweep: accounts, the link and a live session with a token
/// for another link only.
void ArrangeVisit(Failure& failure, const Visit& visit) {
  SharingDB::Instance();
  AddAccounts(failure.platform);
  failure.platform.request_params["_sid"] = "appliance sid";
  Store(visit.entry);
  AddSession(failure.platform, 7, "sid", kFarAhead, "192.0.2.7", 1001);
}

TEST(LoginSweep, AnyCallFails_LetsNobodyInWhoShouldNotBe) {
  std::vector<Visit> visits;
  {
    const fakes::Platform platform;
    visits = Visits();
  }
  for (const Visit& visit : visits) {
    SCOPED_TRACE(visit.name);
    SweepFailures([&visit](Failure& failure) {
      ArrangeVisit(failure, visit);
      std::string out = "before";
      failure.Arm();

      const int result = VEXO::VexoSharingLogin(out, &visit.params, false);
      if (!failure.happened()) {
        EXPECT_EQ(visit.admitted, result == 1) << result;
      } else if (!visit.admitted || !IsToleratedInLogin(failure)) {
        EXPECT_THAT(result, AnyOf(-2, -3, -4, -8, -9, -10, -11));
      }
      if (failure.IsOf("VexoCgiGetRemoteIP")) {
        EXPECT_EQ(-4, result);
      }
      EXPECT_EQ(result == 1, out != "before");
      EXPECT_EQ((fakes::Rows{{result == 1 ? "1" : "0"}}),
                failure.platform.Sql("SELECT count(*) FROM token"));
    });
  }
}

TEST(AuthorizeSweep, AnyCallFails_LetsNobodyInWhoShouldNotBe) {
  std::vector<Visit> visits;
  {
    const fakes::Platform platform;
    visits = Visits();
  }
  for (Visit& visit : visits) {
    SCOPED_TRACE(visit.name);
    visit.params.session_id = "sid";
    SweepFailures([&visit](Failure& failure) {
      ArrangeVisit(failure, visit);
      AddToken(failure.platform, 3, 1, 7);
      failure.Arm();

      const int result = VEXO::VexoSharingIsAuthorized(&visit.params);
      const std::string name = visit.name;
      // The check asks for no password, and for the session's user where none is named.
      const bool admitted = visit.admitted || name == "wrong password" ||
                            name == "no password" || name == "no user" ||
                            name == "used up";
      if (!failure.happened()) {
        EXPECT_EQ(admitted, result == 1) << result;
      } else if (!admitted || !IsTolerated(failure)) {
        EXPECT_THAT(result, AnyOf(-1, -2, -4, -5, -6, -7, -8));
      }
      if (result != 1) {
        EXPECT_EQ((fakes::Rows{{std::to_string(kFarAhead)}}),
                  failure.platform.Sql("SELECT timeout FROM token"));
      }
    });
  }
}

TEST(AuthorizeSweep, ExpiredSessionOrToken_AnyCallFails_IsNeverAuthorized) {
  for (const char* table : {"session", "token"}) {
    SCOPED_TRACE(table);
    SweepFailures([table](Failure& failure) {
      SharingDB::Instance();
      Store(OpenEntry());
      AddSession(failure.platform, 7, "sid");
      AddToken(failure.platform, 3, 1, 7);
      failure.platform.Sql(std::string("UPDATE ") + table + " SET timeout=1000");
      const _tag_sharing_login_params params = {"hash", nullptr, nullptr, nullptr, "sid"};
      failure.Arm();

      EXPECT_LT(VEXO::VexoSharingIsAuthorized(&params), 0);
    });
  }
}

TEST(LogoutSweep, AnyCallFails_IsFalseWithTheTokenKept) {
  SweepFailures([](Failure& failure) {
    SharingDB::Instance();
    Store(OpenEntry());
    AddSession(failure.platform, 7, "sid");
    AddToken(failure.platform, 3, 1, 7);
    failure.Arm();

    const bool done = VEXO::VexoSharingLogout("hash", "sid");
    EXPECT_EQ(!failure.happened() || failure.IsOfLeaving() ||
                  failure.Concerns("PRAGMA wal_checkpoint;"),
              done);
    EXPECT_EQ((fakes::Rows{{done ? "0" : "1"}}),
              failure.platform.Sql("SELECT count(*) FROM token"));
  });
}

TEST(UseCountSweep, AnyCallFails_IsFalseWithTheCountKept) {
  SweepFailures([](Failure& failure) {
    SharingDB::Instance();
    Store(OpenEntry());
    failure.Arm();

    const bool done = VEXO::VexoSharingIncreaseUseCount("hash");
    const bool value_lost = failure.IsOf("VEXODBEscapeStringEX2") && done;
    EXPECT_EQ(!failure.happened() || failure.IsOfLeaving() || value_lost ||
                  failure.Concerns("PRAGMA wal_checkpoint;"),
              done);
    if (!value_lost) {
      EXPECT_EQ((fakes::Rows{{done ? "1" : "0"}}),
                failure.platform.Sql("SELECT use_count FROM entry"));
    }
  });
}

}  // namespace
}  // namespace VEXO
