#include <gmock/gmock.h>
#include <json/value.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "entry.h"
#include "entry_test.h"
#include "internal/entry_private.h"
#include "log_matchers.h"
#include "one_second.h"

namespace VEXO::sharing::record {
namespace {

using fakes::InOneSecond;
using fakes::Refusal;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

// IsLegal

TEST_F(EntryTest, IsLegal_HashProjectOwnerAndApp_IsLegal) {
  EXPECT_TRUE(LegalEntry().IsLegal());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EntryTest, IsLegal_New_IsRefusedForItsHash) {
  EXPECT_FALSE(Entry().IsLegal());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("entry", 333, "\"\" == hash_")));
}

TEST_F(EntryTest, IsLegal_InvalidFlag_IsRefusedFirst) {
  Entry entry;
  entry.GetObject()->blValid_ = false;

  EXPECT_FALSE(entry.IsLegal());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("entry", 332, "!blValid_")));
}

TEST_F(EntryTest, IsLegal_NoProject_IsRefusedBeforeTheOwner) {
  Entry entry;
  entry.set_hash("h");

  EXPECT_FALSE(entry.IsLegal());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("entry", 334, "\"\" == project_name_")));
}

TEST_F(EntryTest, IsLegal_NoOwner_IsRefusedBeforeTheApp) {
  Entry entry;
  entry.set_hash("h");
  entry.set_project_name("p");

  EXPECT_FALSE(entry.IsLegal());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("entry", 335, "UID_ERR == owner_uid_")));
}

TEST_F(EntryTest, IsLegal_OwnerRoot_IsLegal) {
  Entry entry = LegalEntry();
  entry.set_owner_uid(0);

  EXPECT_TRUE(entry.IsLegal());
}

TEST_F(EntryTest, IsLegal_AppIsNotAnObject_IsRefusedBeforePrivateData) {
  for (const Json::Value& app : {Json::Value(), Json::Value(Json::arrayValue),
                                 Json::Value("{}"), Json::Value(1), Json::Value(true)}) {
    const fakes::LogCapture log;
    Entry entry = LegalEntry();
    entry.set_app(app);
    entry.set_private_data(Json::Value());

    EXPECT_FALSE(entry.IsLegal());
    EXPECT_THAT(log.lines(), ElementsAre(Refusal("entry", 336, "! app_.isObject()")));
  }
}

TEST_F(EntryTest, IsLegal_PrivateDataIsNotAnObject_IsRefusedBeforeThePassword) {
  Entry entry = LegalEntry();
  entry.set_private_data(Json::Value(Json::arrayValue));
  entry.set_protect_type(Entry::PROTECT_PASSWORD);

  EXPECT_FALSE(entry.IsLegal());
  EXPECT_THAT(log_.lines(),
              ElementsAre(Refusal("entry", 337, "! private_data_.isObject()")));
}

TEST_F(EntryTest, IsLegal_PasswordProtectionWithoutPassword_IsRefused) {
  Entry entry = LegalEntry();
  entry.set_protect_type(Entry::PROTECT_PASSWORD);

  EXPECT_FALSE(entry.IsLegal());
  EXPECT_THAT(log_.lines(),
              ElementsAre(Refusal("entry", 338,
                                  "Entry::PROTECT_PASSWORD == protect_type_ && "
                                  "\"\" == protect_password_")));
}

TEST_F(EntryTest, IsLegal_StoredFormWithoutSalt_IsRefused) {
  Entry entry = LegalEntry();
  entry.set_protect_type(Entry::PROTECT_PASSWORD);
  entry.set_protect_password("stored", false, Entry::ENCRYPT_ALGO_DEFAULT);

  EXPECT_FALSE(entry.IsLegal());
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(Refusal("entry", 339,
                          "Entry::PROTECT_PASSWORD == protect_type_ && "
                          "Entry::ENCRYPT_ALGO_DEFAULT == protect_password_algo_ && "
                          "\"\" == protect_password_salt_")));
}

TEST_F(EntryTest, IsLegal_Md5FormWithoutSalt_IsLegal) {
  Entry entry = LegalEntry();
  entry.set_protect_type(Entry::PROTECT_PASSWORD);
  entry.set_protect_password("stored", false, Entry::ENCRYPT_ALGO_MD5);

  EXPECT_TRUE(entry.IsLegal());
}

TEST_F(EntryTest, IsLegal_UserProtectionWithoutUsers_IsRefused) {
  Entry entry = LegalEntry();
  entry.set_protect_type(Entry::PROTECT_USER);

  EXPECT_FALSE(entry.IsLegal());
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(Refusal("entry", 342,
                          "Entry::PROTECT_USER == protect_type_ && "
                          "(0 == protect_uids_.size() + protect_extra_users_.size() + "
                          "protect_gids_.size() + protect_extra_groups_.size())")));
}

TEST_F(EntryTest, IsLegal_AnyOfTheFourLists_IsEnough) {
  Entry uids = LegalEntry();
  uids.set_protect_uids({1});
  Entry names = LegalEntry();
  names.set_protect_users({"ghost"});
  Entry gids = LegalEntry();
  gids.set_protect_gids({1});
  Entry groups = LegalEntry();
  groups.set_protect_groups({"ghosts"});
  for (Entry* const entry : {&uids, &names, &gids, &groups}) {
    entry->set_protect_type(Entry::PROTECT_USER);

    EXPECT_TRUE(entry->IsLegal());
  }
}

TEST_F(EntryTest, IsLegal_TimesCountsAndRedirect_AreNotChecked) {
  Entry entry = LegalEntry();
  entry.set_enabled(false);
  entry.set_start_at(-1);
  entry.set_expire_at(1);
  entry.set_expire_times(-1);
  entry.set_use_count(-1);
  entry.set_redirect_type(static_cast<Entry::RedirectType>(9));

  EXPECT_TRUE(entry.IsLegal());
}

TEST_F(EntryTest, IsLegal_Refusal_LogsTheCurrentErrno) {
  errno = ENOENT;

  EXPECT_FALSE(Entry().IsLegal());
  EXPECT_THAT(log_.lines(), ElementsAre("entry:333 (" + std::to_string(getpid()) +
                                        ") Failed [\"\" == hash_], err=No such file or "
                                        "directory\n\n"));
  EXPECT_THAT(log_.priorities(), ElementsAre(3));
}

// IsValid

TEST_F(EntryTest, IsValid_LegalWithoutLimits_IsValid) {
  EXPECT_TRUE(LegalEntry().IsValid());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EntryTest, IsValid_NotLegal_LogsBothReasons) {
  Entry entry;
  entry.set_enabled(false);

  EXPECT_FALSE(entry.IsValid());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("entry", 333, "\"\" == hash_"),
                                        Refusal("entry", 355, "! IsLegal()")));
}

TEST_F(EntryTest, IsValid_CallsTheVirtualIsLegal) {
  class Other : public EntryPrivate {
    bool IsLegal() const override { return true; }
  };

  EXPECT_TRUE(Other().IsValid());
}

TEST_F(EntryTest, IsValid_Disabled_IsRefusedBeforeTheTimes) {
  Entry entry = LegalEntry();
  entry.set_enabled(false);
  entry.set_start_at(time(nullptr) + 3600);

  EXPECT_FALSE(entry.IsValid());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("entry", 356, "! enabled_")));
}

TEST_F(EntryTest, IsValid_NotStarted_IsRefusedBeforeTheExpiry) {
  Entry entry = LegalEntry();
  entry.set_expire_at(1);
  bool valid = true;

  InOneSecond([&](long now) {
    entry.set_start_at(now + 1);
    valid = entry.IsValid();
  });
  EXPECT_FALSE(valid);
  EXPECT_FALSE(log_.lines().empty());
  EXPECT_THAT(log_.lines(),
              Each(Refusal("entry", 357, "0 < start_at_ && start_at_ > timeNow")));
}

TEST_F(EntryTest, IsValid_StartIsNow_IsValid) {
  Entry entry = LegalEntry();
  bool valid = false;

  InOneSecond([&](long now) {
    entry.set_start_at(now);
    valid = entry.IsValid();
  });
  EXPECT_TRUE(valid);
}

TEST_F(EntryTest, IsValid_ExpiryIsNow_IsStillValid) {
  Entry entry = LegalEntry();
  bool valid = false;

  InOneSecond([&](long now) {
    entry.set_expire_at(now);
    valid = entry.IsValid();
  });
  EXPECT_TRUE(valid);
}

TEST_F(EntryTest, IsValid_ExpiryWasLastSecond_IsRefusedBeforeTheUses) {
  Entry entry = LegalEntry();
  entry.set_expire_at(time(nullptr) - 1);
  entry.set_expire_times(1);
  entry.set_use_count(2);

  EXPECT_FALSE(entry.IsValid());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal(
                                "entry", 358, "0 < expire_at_ && timeNow > expire_at_")));
}

TEST_F(EntryTest, IsValid_NegativeTimesAndLimit_AreNone) {
  Entry entry = LegalEntry();
  entry.set_start_at(-1);
  entry.set_expire_at(-1);
  entry.set_expire_times(-1);
  entry.set_use_count(5);

  EXPECT_TRUE(entry.IsValid());
}

TEST_F(EntryTest, IsValid_UsesEqualTheLimit_IsStillValid) {
  Entry entry = LegalEntry();
  entry.set_expire_times(3);
  entry.set_use_count(3);

  EXPECT_TRUE(entry.IsValid());
}

TEST_F(EntryTest, IsValid_UsesBeyondTheLimit_IsRefused) {
  Entry entry = LegalEntry();
  entry.set_expire_times(3);
  entry.set_use_count(4);

  EXPECT_FALSE(entry.IsValid());
  EXPECT_THAT(log_.lines(),
              ElementsAre(Refusal("entry", 359,
                                  "0 < expire_times_ && use_count_ > expire_times_")));
}

}  // namespace
}  // namespace VEXO::sharing::record
