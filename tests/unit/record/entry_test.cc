#include "entry.h"

#include <gmock/gmock.h>
#include <json/reader.h>
#include <json/value.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "digit_grouping.h"
#include "fake_platform.h"
#include "internal/entry_private.h"
#include "log_capture.h"
#include "log_matchers.h"
#include "one_second.h"
#include "stored_row.h"

namespace VEXO::sharing::record {
namespace {

using fakes::InOneSecond;
using fakes::Refusal;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

const char kTimeFormat[] = "%Y-%m-%d %H:%M:%S";

Json::Value Parsed(const std::string& text) {
  Json::Value value;
  std::string errors;
  const Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors))
      << errors;
  return value;
}

/// The time zone of the process while it lives, in POSIX form.
class TimeZone {
 public:
  explicit TimeZone(const std::string& zone) {
    if (const char* const before = getenv("TZ")) before_ = before;
    setenv("TZ", zone.c_str(), 1);
    tzset();
  }
  ~TimeZone() {
    if (before_.empty()) {
      unsetenv("TZ");
    } else {
      setenv("TZ", before_.c_str(), 1);
    }
    tzset();
  }

 private:
  std::string before_;
};

class EntryTest : public testing::Test {
 protected:
  EntryTest() {
    platform_.users["alice"] = {5001, {}, ""};
    platform_.users["bob"] = {5002, {}, ""};
    platform_.groups = {{"family", 6001}, {"friends", 6002}};
  }

  static Entry LegalEntry() {
    Entry entry;
    entry.set_hash("aB3dE6gH9");
    entry.set_project_name("photo");
    entry.set_owner_uid(5001);
    entry.set_app(Json::Value(Json::objectValue));
    return entry;
  }
  static Entry PasswordEntry(const std::string& password,
                             Entry::PasswordEncryptAlgo algo) {
    Entry entry = LegalEntry();
    entry.set_protect_type(Entry::PROTECT_PASSWORD);
    entry.set_protect_password(password, true, algo);
    return entry;
  }

  /// The columns of a row that reads as a legal entry, with this text as its data.
  static std::map<std::string, std::string> Columns(const std::string& data) {
    return {{"id", "12"},       {"hash", "aB3dE6gH9"}, {"project_name", "photo"},
            {"enabled", "1"},   {"owner_uid", "5001"}, {"start_at", "0"},
            {"expire_at", "0"}, {"expire_times", "0"}, {"use_count", "0"},
            {"auto_gc", "1"},   {"data", data}};
  }
  static Json::Value LegalData() { return Parsed(LegalEntry().GetFieldMap().at("data")); }
  bool ReadText(Entry& entry, const std::string& data) {
    const StoredRow stored(platform_, Columns(data));
    return entry.FromRow(stored.row());
  }
  bool ReadData(Entry& entry, const Json::Value& data) {
    return ReadText(entry, data.toStyledString());
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
};

// Fields

TEST_F(EntryTest, New_HasTheDefaults) {
  const Entry entry;

  EXPECT_EQ(0, entry.get_id());
  EXPECT_EQ("", entry.get_hash());
  EXPECT_EQ("", entry.get_project_name());
  EXPECT_TRUE(entry.get_enabled());
  EXPECT_EQ(UID_ERR, entry.get_owner_uid());
  EXPECT_EQ(0, entry.get_start_at());
  EXPECT_EQ(0, entry.get_expire_at());
  EXPECT_EQ(0, entry.get_expire_times());
  EXPECT_EQ(0, entry.get_use_count());
  EXPECT_TRUE(entry.get_auto_gc());
  EXPECT_TRUE(entry.get_enable_match_ip());
  EXPECT_EQ(Entry::PROTECT_NONE, entry.get_protect_type());
  EXPECT_EQ("", entry.get_protect_title());
  EXPECT_EQ("", entry.get_protect_password());
  EXPECT_EQ("", entry.get_protect_password_salt());
  EXPECT_EQ(Entry::ENCRYPT_ALGO_DEFAULT, entry.get_protect_password_algo());
  EXPECT_THAT(entry.get_protect_uids(), IsEmpty());
  EXPECT_THAT(entry.get_protect_users(), IsEmpty());
  EXPECT_THAT(entry.get_protect_gids(), IsEmpty());
  EXPECT_THAT(entry.get_protect_groups(), IsEmpty());
  EXPECT_EQ(Entry::REDIRECT_NONE, entry.get_redirect_type());
  EXPECT_EQ("", entry.get_redirect_uri());
  EXPECT_TRUE(entry.get_app().isNull());
  EXPECT_EQ(Json::Value(Json::objectValue), entry.get_private_data());
}

TEST_F(EntryTest, Enumerators_HaveTheirFixedValues) {
  EXPECT_EQ(0, Entry::PROTECT_NONE);
  EXPECT_EQ(1, Entry::PROTECT_PASSWORD);
  EXPECT_EQ(2, Entry::PROTECT_USER);
  EXPECT_EQ(0, Entry::REDIRECT_NONE);
  EXPECT_EQ(1, Entry::REDIRECT_URLPARAM);
  EXPECT_EQ(2, Entry::REDIRECT_ALWAYS);
  EXPECT_EQ(0, Entry::ENCRYPT_ALGO_DEFAULT);
  EXPECT_EQ(1, Entry::ENCRYPT_ALGO_MD5);
}

TEST_F(EntryTest, PlainAccessors_GiveBackWhatWasSet) {
  const std::string bytes("it's \"\0\xff", 8);
  Json::Value object;
  object["key"] = bytes;
  Entry entry;

  entry.set_id(-3);
  entry.set_hash(bytes);
  entry.set_project_name(bytes);
  entry.set_enabled(false);
  entry.set_owner_uid(0);
  entry.set_start_at(std::numeric_limits<long>::min());
  entry.set_expire_at(std::numeric_limits<long>::max());
  entry.set_use_count(-1);
  entry.set_auto_gc(false);
  entry.set_enable_match_ip(false);
  entry.set_protect_type(Entry::PROTECT_USER);
  entry.set_protect_title(bytes);
  entry.set_redirect_type(Entry::REDIRECT_ALWAYS);
  entry.set_redirect_uri(bytes);
  entry.set_app(object);
  entry.set_private_data(object);
  EXPECT_EQ(-3, entry.get_id());
  EXPECT_EQ(bytes, entry.get_hash());
  EXPECT_EQ(bytes, entry.get_project_name());
  EXPECT_FALSE(entry.get_enabled());
  EXPECT_EQ(0u, entry.get_owner_uid());
  EXPECT_EQ(std::numeric_limits<long>::min(), entry.get_start_at());
  EXPECT_EQ(std::numeric_limits<long>::max(), entry.get_expire_at());
  EXPECT_EQ(-1, entry.get_use_count());
  EXPECT_FALSE(entry.get_auto_gc());
  EXPECT_FALSE(entry.get_enable_match_ip());
  EXPECT_EQ(Entry::PROTECT_USER, entry.get_protect_type());
  EXPECT_EQ(bytes, entry.get_protect_title());
  EXPECT_EQ(Entry::REDIRECT_ALWAYS, entry.get_redirect_type());
  EXPECT_EQ(bytes, entry.get_redirect_uri());
  EXPECT_EQ(object, entry.get_app());
  EXPECT_EQ(object, entry.get_private_data());
}

TEST_F(EntryTest, SetExpireTimes_FromNoLimitToALimit_BeginsTheCountAnew) {
  Entry entry;
  entry.set_use_count(3);

  entry.set_expire_times(5);
  EXPECT_EQ(5, entry.get_expire_times());
  EXPECT_EQ(0, entry.get_use_count());
}

TEST_F(EntryTest, SetExpireTimes_OtherChanges_KeepTheCount) {
  const std::pair<int, int> changes[] = {{5, 10}, {5, 0}, {0, 0}, {-1, 5}};
  for (const auto& [before, after] : changes) {
    Entry entry;
    entry.set_expire_times(before);
    entry.set_use_count(3);

    entry.set_expire_times(after);
    EXPECT_EQ(after, entry.get_expire_times());
    EXPECT_EQ(3, entry.get_use_count()) << before << " to " << after;
  }
}

TEST_F(EntryTest, SetExpireTimes_NegativeAfterNoLimit_BeginsTheCountAnew) {
  Entry entry;
  entry.set_use_count(3);

  entry.set_expire_times(-1);
  EXPECT_EQ(0, entry.get_use_count());
}

TEST_F(EntryTest, IncUseCount_AddsOneWithoutRegardToTheLimit) {
  Entry entry;
  entry.set_expire_times(1);
  entry.set_use_count(1);

  entry.inc_use_count();
  EXPECT_EQ(2, entry.get_use_count());
}

TEST_F(EntryTest, IncUseCount_LargestInt_Stays) {
  Entry entry;
  entry.set_use_count(std::numeric_limits<int>::max());

  entry.inc_use_count();
  EXPECT_EQ(std::numeric_limits<int>::max(), entry.get_use_count());
}

// Owner

TEST_F(EntryTest, SetOwnerUser_KnownName_SetsTheIdAndIsNotZero) {
  Entry entry;

  EXPECT_NE(0, entry.set_owner_user("alice"));
  EXPECT_EQ(5001u, entry.get_owner_uid());
  EXPECT_EQ("alice", entry.get_owner_user());
}

TEST_F(EntryTest, SetOwnerUser_UnknownName_UnsetsTheOwnerAndIsZero) {
  Entry entry = LegalEntry();

  EXPECT_EQ(0, entry.set_owner_user("ghost"));
  EXPECT_EQ(UID_ERR, entry.get_owner_uid());
}

TEST_F(EntryTest, GetOwnerUser_UnknownId_IsEmpty) {
  Entry entry;

  EXPECT_EQ("", entry.get_owner_user());
  entry.set_owner_uid(9999);
  EXPECT_EQ("", entry.get_owner_user());
}

// Time texts

TEST_F(EntryTest, TimeText_Zero_IsEmpty) {
  EXPECT_EQ("", Entry().get_start_at_str(kTimeFormat));
  EXPECT_EQ("", Entry().get_expire_at_str(kTimeFormat));
}

TEST_F(EntryTest, TimeText_IsInTheLocalTimeZone) {
  const TimeZone zone("EAST-3");
  Entry entry;
  entry.set_start_at(1700000000);
  entry.set_expire_at(-1);

  EXPECT_EQ("2023-11-15 01:13:20", entry.get_start_at_str(kTimeFormat));
  EXPECT_EQ("1970-01-01 02:59:59", entry.get_expire_at_str(kTimeFormat));
  EXPECT_EQ("15/11", entry.get_start_at_str("%d/%m"));
}

TEST_F(EntryTest, TimeText_LongestThatFits_IsWholeAndLongerIsEmpty) {
  Entry entry;
  entry.set_start_at(1700000000);

  EXPECT_EQ(std::string(127, 'x'), entry.get_start_at_str(std::string(127, 'x').c_str()));
  EXPECT_EQ("", entry.get_start_at_str(std::string(128, 'x').c_str()));
  EXPECT_EQ("", entry.get_start_at_str(std::string(1 << 20, 'x').c_str()));
}

TEST_F(EntryTest, TimeText_EmptyFormat_IsEmpty) {
  Entry entry;
  entry.set_start_at(1700000000);

  EXPECT_EQ("", entry.get_start_at_str(""));
}

TEST_F(EntryTest, TimeText_YearBeyondTheCalendar_IsEmpty) {
  Entry entry;
  entry.set_start_at(std::numeric_limits<long>::max());
  entry.set_expire_at(std::numeric_limits<long>::min());

  EXPECT_EQ("", entry.get_start_at_str(kTimeFormat));
  EXPECT_EQ("", entry.get_expire_at_str(kTimeFormat));
}

TEST_F(EntryTest, SetTimeText_IsReadInTheLocalTimeZone) {
  const TimeZone zone("EAST-3");
  Entry entry;

  entry.set_start_at_str("2023-11-15 01:13:20", kTimeFormat);
  entry.set_expire_at_str("16/11/2023", "%d/%m/%Y");
  EXPECT_EQ(1700000000, entry.get_start_at());
  EXPECT_EQ(1700082000, entry.get_expire_at());
}

TEST_F(EntryTest, SetTimeText_EmptyOrUnreadable_IsZero) {
  for (const char* const text : {"", "soon", "2023-13-01 00:00:00", "2023-11-15"}) {
    Entry entry;
    entry.set_start_at(5);
    entry.set_expire_at(5);

    entry.set_start_at_str(text, kTimeFormat);
    entry.set_expire_at_str(text, kTimeFormat);
    EXPECT_EQ(0, entry.get_start_at()) << text;
    EXPECT_EQ(0, entry.get_expire_at()) << text;
  }
}

TEST_F(EntryTest, SetTimeText_AllYearSummerTime_IsReadAsSummerTime) {
  const TimeZone zone("STD0DST,0/0,J365/25");
  Entry entry;

  entry.set_start_at_str("2023-11-14 23:13:20", kTimeFormat);
  EXPECT_EQ(1700000000, entry.get_start_at());
}

TEST_F(EntryTest, SetTimeText_TakesTodaysSummerTimeForAnyDate) {
  const time_t now = time(nullptr);
  struct tm today = {};
  gmtime_r(&now, &today);
  // Summer time from two days ago to two days ahead, one hour before standard time.
  const TimeZone zone("STD0DST," + std::to_string((today.tm_yday + 363) % 365) + "," +
                      std::to_string((today.tm_yday + 2) % 365));
  const time_t half_a_year_ahead = now + 182L * 86400;
  struct tm then = {};
  gmtime_r(&half_a_year_ahead, &then);
  char text[32];
  strftime(text, sizeof text, kTimeFormat, &then);
  Entry entry;

  entry.set_start_at_str(text, kTimeFormat);
  EXPECT_EQ(half_a_year_ahead - 3600, entry.get_start_at());
}

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

TEST_F(EntryTest, IsLegal_AppIsNoObject_IsRefusedBeforePrivateData) {
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

TEST_F(EntryTest, IsLegal_PrivateDataIsNoObject_IsRefusedBeforeThePassword) {
  Entry entry = LegalEntry();
  entry.set_private_data(Json::Value(Json::arrayValue));
  entry.set_protect_type(Entry::PROTECT_PASSWORD);

  EXPECT_FALSE(entry.IsLegal());
  EXPECT_THAT(log_.lines(),
              ElementsAre(Refusal("entry", 337, "! private_data_.isObject()")));
}

TEST_F(EntryTest, IsLegal_PasswordWantedButNoneSet_IsRefused) {
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

TEST_F(EntryTest, IsLegal_UsersWantedButNoneListed_IsRefused) {
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

TEST_F(EntryTest, IsLegal_TimesCountsAndRedirect_AreNotLookedAt) {
  Entry entry = LegalEntry();
  entry.set_enabled(false);
  entry.set_start_at(-1);
  entry.set_expire_at(1);
  entry.set_expire_times(-1);
  entry.set_use_count(-1);
  entry.set_redirect_type(static_cast<Entry::RedirectType>(9));

  EXPECT_TRUE(entry.IsLegal());
}

TEST_F(EntryTest, IsLegal_Refusal_LogsWithTheErrnoOfTheMoment) {
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

TEST_F(EntryTest, IsValid_AsksForLegalityThroughTheContract) {
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

// Passwords

TEST_F(EntryTest, SetProtectPassword_Default_IsSaltedSha1) {
  platform_.random_strings = {"xy"};
  Entry entry = LegalEntry();

  entry.set_protect_password("abc", true, Entry::ENCRYPT_ALGO_DEFAULT);
  EXPECT_EQ("xy", entry.get_protect_password_salt());
  EXPECT_EQ("e9de4ff23942188a51f3b21c25ddb2f25f10d362", entry.get_protect_password());
  EXPECT_EQ(Entry::ENCRYPT_ALGO_DEFAULT, entry.get_protect_password_algo());
  EXPECT_EQ(Entry::PROTECT_NONE, entry.get_protect_type());
  EXPECT_THAT(platform_.calls(),
              ElementsAre("getString(ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                          "0123456789, 6)"));
}

TEST_F(EntryTest, SetProtectPassword_Default_DrawsANewSaltEachTime) {
  Entry entry;

  entry.set_protect_password("abc", true, Entry::ENCRYPT_ALGO_DEFAULT);
  const std::string salt = entry.get_protect_password_salt();
  const std::string stored = entry.get_protect_password();
  entry.set_protect_password("abc", true, Entry::ENCRYPT_ALGO_DEFAULT);
  EXPECT_EQ(6u, salt.size());
  EXPECT_NE(salt, entry.get_protect_password_salt());
  EXPECT_NE(stored, entry.get_protect_password());
}

TEST_F(EntryTest, SetProtectPassword_EmptyUnderDefault_IsLegal) {
  const Entry entry = PasswordEntry("", Entry::ENCRYPT_ALGO_DEFAULT);

  EXPECT_TRUE(entry.IsLegal());
  EXPECT_EQ(6u, entry.get_protect_password_salt().size());
  EXPECT_EQ(40u, entry.get_protect_password().size());
}

TEST_F(EntryTest, SetProtectPassword_Md5_IsPlainMd5AndLeavesTheSalt) {
  platform_.random_strings = {"salted"};
  Entry entry = PasswordEntry("before", Entry::ENCRYPT_ALGO_DEFAULT);

  entry.set_protect_password("abc", true, Entry::ENCRYPT_ALGO_MD5);
  EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72", entry.get_protect_password());
  EXPECT_EQ(Entry::ENCRYPT_ALGO_MD5, entry.get_protect_password_algo());
  EXPECT_EQ("salted", entry.get_protect_password_salt());
  EXPECT_TRUE(entry.IsLegal());
}

TEST_F(EntryTest, SetProtectPassword_EmptyUnderMd5_IsNotLegalUntilItSucceeds) {
  Entry entry = PasswordEntry("abc", Entry::ENCRYPT_ALGO_DEFAULT);

  entry.set_protect_password("", true, Entry::ENCRYPT_ALGO_MD5);
  EXPECT_EQ("", entry.get_protect_password());
  EXPECT_EQ(Entry::ENCRYPT_ALGO_MD5, entry.get_protect_password_algo());
  EXPECT_FALSE(entry.IsLegal());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("entry", 332, "!blValid_")));
  entry.set_protect_password("abc", true, Entry::ENCRYPT_ALGO_MD5);
  EXPECT_TRUE(entry.IsLegal());
}

TEST_F(EntryTest, SetProtectPassword_UnknownAlgorithm_IsNotLegalAndHoldsNoForm) {
  Entry entry = LegalEntry();

  entry.set_protect_password("abc", true, static_cast<Entry::PasswordEncryptAlgo>(2));

  EXPECT_FALSE(entry.IsLegal());
  EXPECT_EQ("", entry.get_protect_password());
  EXPECT_EQ("", entry.get_protect_password_salt());
}

TEST_F(EntryTest, SetProtectPassword_NoSalt_IsNotLegalAndForgetsThePassword) {
  Entry entry = PasswordEntry("abc", Entry::ENCRYPT_ALGO_MD5);
  platform_.FailOnce("getString");

  entry.set_protect_password("abc", true, Entry::ENCRYPT_ALGO_DEFAULT);
  EXPECT_EQ("", entry.get_protect_password());
  EXPECT_EQ(Entry::ENCRYPT_ALGO_DEFAULT, entry.get_protect_password_algo());
  EXPECT_FALSE(entry.IsLegal());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("entry", 332, "!blValid_")));
}

TEST_F(EntryTest, SetProtectPassword_StoredForm_IsTakenUnchanged) {
  Entry entry;
  entry.GetObject()->blValid_ = false;

  entry.set_protect_password("any text", false, Entry::ENCRYPT_ALGO_MD5);
  EXPECT_EQ("any text", entry.get_protect_password());
  EXPECT_EQ(Entry::ENCRYPT_ALGO_MD5, entry.get_protect_password_algo());
  EXPECT_EQ("", entry.get_protect_password_salt());
  EXPECT_TRUE(entry.GetCObject()->blValid_);
  EXPECT_THAT(platform_.calls(), IsEmpty());
}

TEST_F(EntryTest, IsPasswordValid_NotPasswordProtected_IsTrueForAnyText) {
  for (const Entry::ProtectType type : {Entry::PROTECT_NONE, Entry::PROTECT_USER}) {
    Entry entry = PasswordEntry("abc", Entry::ENCRYPT_ALGO_DEFAULT);
    entry.set_protect_type(type);

    EXPECT_TRUE(entry.IsPasswordValid("wrong"));
    EXPECT_TRUE(entry.IsPasswordValid(""));
  }
}

TEST_F(EntryTest, IsPasswordValid_ThePasswordAlone_IsRight) {
  for (const auto algo : {Entry::ENCRYPT_ALGO_DEFAULT, Entry::ENCRYPT_ALGO_MD5}) {
    const Entry entry = PasswordEntry("it's \xff secret", algo);

    EXPECT_TRUE(entry.IsPasswordValid("it's \xff secret"));
    EXPECT_FALSE(entry.IsPasswordValid("it's \xff Secret"));
    EXPECT_FALSE(entry.IsPasswordValid("it's \xff secret "));
    EXPECT_FALSE(entry.IsPasswordValid(""));
    EXPECT_FALSE(entry.IsPasswordValid(entry.get_protect_password()));
    EXPECT_FALSE(entry.IsPasswordValid(std::string(1 << 20, 'x')));
  }
}

TEST_F(EntryTest, IsPasswordValid_Nul_IsPartOfThePassword) {
  const Entry entry = PasswordEntry(std::string("a\0b", 3), Entry::ENCRYPT_ALGO_DEFAULT);

  EXPECT_TRUE(entry.IsPasswordValid(std::string("a\0b", 3)));
  EXPECT_FALSE(entry.IsPasswordValid("a"));
}

TEST_F(EntryTest, IsPasswordValid_StoredFormInOtherCase_IsWrong) {
  Entry entry = LegalEntry();
  entry.set_protect_type(Entry::PROTECT_PASSWORD);
  entry.set_protect_password("900150983CD24FB0D6963F7D28E17F72", false,
                             Entry::ENCRYPT_ALGO_MD5);

  EXPECT_FALSE(entry.IsPasswordValid("abc"));
}

TEST_F(EntryTest, IsPasswordValid_StoredFormIsPrefixOrLonger_IsWrong) {
  for (const char* const stored :
       {"", "900150983cd24fb0d6963f7d28e17f7", "900150983cd24fb0d6963f7d28e17f720"}) {
    Entry entry = LegalEntry();
    entry.set_protect_type(Entry::PROTECT_PASSWORD);
    entry.set_protect_password(stored, false, Entry::ENCRYPT_ALGO_MD5);

    EXPECT_FALSE(entry.IsPasswordValid("abc")) << stored;
  }
}

TEST_F(EntryTest, IsPasswordValid_EmptyPasswordAndEmptyMd5Form_IsWrong) {
  Entry entry = LegalEntry();
  entry.set_protect_type(Entry::PROTECT_PASSWORD);
  entry.set_protect_password("", false, Entry::ENCRYPT_ALGO_MD5);

  EXPECT_FALSE(entry.IsPasswordValid(""));
}

TEST_F(EntryTest, IsPasswordValid_OtherAlgorithmNumber_IsMd5) {
  Entry entry = LegalEntry();
  entry.set_protect_type(Entry::PROTECT_PASSWORD);
  entry.set_protect_password("900150983cd24fb0d6963f7d28e17f72", false,
                             static_cast<Entry::PasswordEncryptAlgo>(7));

  EXPECT_TRUE(entry.IsPasswordValid("abc"));
}

// Users and groups

TEST_F(EntryTest, SetProtectUsers_SortsNamesIntoIdsAndUnresolved) {
  Entry entry;

  entry.set_protect_users({"bob", "ghost", "alice", "bob", "ghost"});
  EXPECT_THAT(entry.get_protect_uids(), ElementsAre(5002, 5001, 5002));
  EXPECT_THAT(entry.get_protect_users(),
              ElementsAre("bob", "alice", "bob", "ghost", "ghost"));
}

TEST_F(EntryTest, SetProtectUsers_ReplacesIdsAndNames) {
  Entry entry;
  entry.set_protect_users({"bob", "ghost"});

  entry.set_protect_users({"alice"});
  EXPECT_THAT(entry.get_protect_users(), ElementsAre("alice"));
  entry.set_protect_users({});
  EXPECT_THAT(entry.get_protect_users(), IsEmpty());
}

TEST_F(EntryTest, SetProtectUsers_LookupFails_KeepsTheName) {
  Entry entry;
  platform_.FailOnce("VEXOUserGet");

  entry.set_protect_users({"alice", "bob"});
  EXPECT_THAT(entry.get_protect_users(), ElementsAre("bob", "alice"));
  EXPECT_THAT(entry.get_protect_uids(), ElementsAre(5002, 5001));
}

TEST_F(EntryTest, UnresolvedUser_CountsOnceHeExists) {
  Entry entry;
  entry.set_protect_users({"ghost"});

  EXPECT_THAT(entry.get_protect_users(), ElementsAre("ghost"));
  EXPECT_THAT(entry.get_protect_uids(), IsEmpty());
  platform_.users["ghost"] = {5009, {}, ""};
  EXPECT_THAT(entry.get_protect_uids(), ElementsAre(5009));
}

TEST_F(EntryTest, DeletedUser_IsNotNamedButKeepsTheEntryLegal) {
  Entry entry = LegalEntry();
  entry.set_protect_type(Entry::PROTECT_USER);
  entry.set_protect_users({"alice"});

  platform_.users.erase("alice");
  EXPECT_THAT(entry.get_protect_users(), IsEmpty());
  EXPECT_THAT(entry.get_protect_uids(), ElementsAre(5001));
  EXPECT_TRUE(entry.IsLegal());
}

TEST_F(EntryTest, SetProtectUids_ReplacesIdsAndForgetsNames) {
  Entry entry;
  entry.set_protect_users({"alice", "ghost"});

  entry.set_protect_uids({5002, 9999, 5002});
  EXPECT_THAT(entry.get_protect_uids(), ElementsAre(5002, 9999, 5002));
  EXPECT_THAT(entry.get_protect_users(), ElementsAre("bob", "bob"));
}

TEST_F(EntryTest, SetProtectGroups_SortsNamesIntoIdsAndUnresolved) {
  Entry entry;

  entry.set_protect_groups({"friends", "ghosts", "family"});
  EXPECT_THAT(entry.get_protect_gids(), ElementsAre(6002, 6001));
  EXPECT_THAT(entry.get_protect_groups(), ElementsAre("friends", "family", "ghosts"));
  EXPECT_THAT(entry.get_protect_users(), IsEmpty());
  platform_.groups["ghosts"] = 6009;
  EXPECT_THAT(entry.get_protect_gids(), ElementsAre(6002, 6001, 6009));
  entry.set_protect_groups({"family"});
  EXPECT_THAT(entry.get_protect_groups(), ElementsAre("family"));
}

TEST_F(EntryTest, SetProtectGids_ReplacesIdsAndForgetsNames) {
  Entry entry;
  entry.set_protect_groups({"family", "ghosts"});

  entry.set_protect_gids({6002, 9999});
  EXPECT_THAT(entry.get_protect_gids(), ElementsAre(6002, 9999));
  EXPECT_THAT(entry.get_protect_groups(), ElementsAre("friends"));
}

TEST_F(EntryTest, UserAndGroupLists_DoNotTouchEachOther) {
  Entry entry;
  entry.set_protect_users({"alice", "ghost"});
  entry.set_protect_groups({"family", "ghosts"});

  entry.set_protect_uids({5002});
  EXPECT_THAT(entry.get_protect_groups(), ElementsAre("family", "ghosts"));
  entry.set_protect_gids({6002});
  EXPECT_THAT(entry.get_protect_users(), ElementsAre("bob"));
}

// Columns

TEST_F(EntryTest, GetFieldList_IsTheColumnsInTableOrder) {
  Entry entry = LegalEntry();
  entry.set_id(9);
  entry.set_enabled(false);
  entry.set_start_at(-1);
  entry.set_expire_at(1700000000);
  entry.set_expire_times(5);
  entry.set_use_count(-2);
  entry.set_auto_gc(true);

  std::vector<std::string> fields = entry.GetFieldList();

  ASSERT_EQ(10u, fields.size());
  fields.pop_back();
  EXPECT_THAT(fields, ElementsAre("aB3dE6gH9", "photo", "0", "5001", "-1", "1700000000",
                                  "5", "-2", "1"));
}

TEST_F(EntryTest, GetFieldList_New_HasTheDefaultsAsText) {
  std::vector<std::string> fields = Entry().GetFieldList();

  ASSERT_EQ(10u, fields.size());
  fields.pop_back();
  EXPECT_THAT(fields, ElementsAre("", "", "1", "4294967295", "0", "0", "0", "0", "1"));
}

TEST_F(EntryTest, GetFieldMap_PairsTheListWithTheColumnNames) {
  class Other : public EntryPrivate {
    std::vector<std::string> GetFieldList() const override {
      return {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10"};
    }
  };

  EXPECT_THAT(
      Other().GetFieldMap(),
      ElementsAre(Pair("auto_gc", "9"), Pair("data", "10"), Pair("enabled", "3"),
                  Pair("expire_at", "6"), Pair("expire_times", "7"), Pair("hash", "1"),
                  Pair("owner_uid", "4"), Pair("project_name", "2"),
                  Pair("start_at", "5"), Pair("use_count", "8")));
}

TEST_F(EntryTest, Data_New_HoldsTheDefaults) {
  const Json::Value data = Parsed(Entry().GetFieldMap().at("data"));

  EXPECT_EQ(Parsed(R"({"enable_match_ip": true, "protect_type": "none",
                       "protect_title": "", "protect_password": "",
                       "protect_password_algo": "default", "protect_password_salt": "",
                       "protect_uids": [], "protect_extra_users": [],
                       "protect_gids": [], "protect_extra_groups": [],
                       "redirect_type": "none", "redirect_uri": "", "app": null,
                       "private_data": {}})"),
            data);
}

TEST_F(EntryTest, Data_HoldsEveryMember) {
  platform_.random_strings = {"salted"};
  Entry entry = PasswordEntry("abc", Entry::ENCRYPT_ALGO_DEFAULT);
  entry.set_enable_match_ip(false);
  entry.set_protect_title("it's \"mine\"\n\xc3\xa4");
  entry.set_protect_users({"alice", "ghost", "bob"});
  entry.set_protect_groups({"ghosts", "family"});
  entry.set_redirect_type(Entry::REDIRECT_URLPARAM);
  entry.set_redirect_uri("/a?b=c&d");
  entry.set_app(Parsed(R"({"list": [1, 2.5, "x", null], "deep": {"a": true}})"));
  entry.set_private_data(Parsed(R"({"secret": "s"})"));

  const Json::Value data = Parsed(entry.GetFieldMap().at("data"));

  Json::Value expected = Parsed(
      R"({"enable_match_ip": false, "protect_type": "password",
          "protect_title": "it's \"mine\"\n\u00e4",
          "protect_password_algo": "default", "protect_password_salt": "salted",
          "protect_uids": [5001, 5002], "protect_extra_users": ["ghost"],
          "protect_gids": [6001], "protect_extra_groups": ["ghosts"],
          "redirect_type": "url_param", "redirect_uri": "/a?b=c&d",
          "app": {"list": [1, 2.5, "x", null], "deep": {"a": true}},
          "private_data": {"secret": "s"}})");
  expected["protect_password"] = entry.get_protect_password();
  EXPECT_EQ(expected, data);
}

TEST_F(EntryTest, Data_WritesTypesAsTheirTexts) {
  const std::pair<int, const char*> protect_types[] = {
      {0, "none"}, {1, "password"}, {2, "user"}, {3, "none"}};
  const std::pair<int, const char*> redirect_types[] = {
      {0, "none"}, {1, "url_param"}, {2, "always"}, {3, "none"}};
  const std::pair<int, const char*> algos[] = {{0, "default"}, {1, "md5"}, {3, "md5"}};
  Entry entry;

  for (const auto& [type, text] : protect_types) {
    entry.set_protect_type(static_cast<Entry::ProtectType>(type));
    EXPECT_EQ(text, Parsed(entry.GetFieldMap().at("data"))["protect_type"].asString());
  }
  for (const auto& [type, text] : redirect_types) {
    entry.set_redirect_type(static_cast<Entry::RedirectType>(type));
    EXPECT_EQ(text, Parsed(entry.GetFieldMap().at("data"))["redirect_type"].asString());
  }
  for (const auto& [algo, text] : algos) {
    entry.set_protect_password("x", false, static_cast<Entry::PasswordEncryptAlgo>(algo));
    EXPECT_EQ(text,
              Parsed(entry.GetFieldMap().at("data"))["protect_password_algo"].asString());
  }
}

TEST_F(EntryTest, Data_LargestIds_StayUnsigned) {
  Entry entry;
  entry.set_protect_uids({4294967295U, 0});

  EXPECT_EQ(Parsed("[4294967295, 0]"),
            Parsed(entry.GetFieldMap().at("data"))["protect_uids"]);
}

TEST_F(EntryTest, GroupingLocale_ColumnsAndDataReadBack) {
  Entry entry = LegalEntry();
  entry.set_owner_uid(1234567);
  entry.set_expire_at(1700000000);
  entry.set_protect_uids({1234567});
  entry.set_app(Parsed(R"({"whole": 1234567, "real": 1234567.5})"));
  const fakes::DigitGrouping grouping;
  auto columns = entry.GetFieldMap();
  columns["id"] = "1234567";
  const StoredRow stored(platform_, columns);
  Entry again;

  EXPECT_EQ("1234567", columns["owner_uid"]);
  EXPECT_EQ("1700000000", columns["expire_at"]);
  EXPECT_TRUE(again.FromRow(stored.row()));
  EXPECT_EQ(1234567, again.get_id());
  EXPECT_EQ(entry.GetFieldList(), again.GetFieldList());
}

// JSON view

TEST_F(EntryTest, ToJSON_ReplacesOutByThePublicView) {
  const TimeZone zone("EAST-3");
  Entry entry = PasswordEntry("abc", Entry::ENCRYPT_ALGO_DEFAULT);
  entry.set_id(9);
  entry.set_start_at(1700000000);
  entry.set_expire_times(5);
  entry.set_use_count(2);
  entry.set_auto_gc(false);
  entry.set_protect_title("title");
  entry.set_protect_users({"ghost", "alice"});
  entry.set_protect_groups({"family", "ghosts"});
  entry.set_redirect_type(Entry::REDIRECT_ALWAYS);
  entry.set_redirect_uri("/there");
  entry.set_app(Parsed(R"({"name": "album"})"));
  entry.set_private_data(Parsed(R"({"secret": "s"})"));
  Json::Value out;
  out["other"] = "gone";

  entry.ToJSON(out);

  EXPECT_EQ(Parsed(R"({"hash": "aB3dE6gH9", "project_name": "photo", "enabled": true,
                       "owner_user": "alice", "start_at": "2023-11-15 01:13:20",
                       "expire_at": "", "expire_times": 5, "use_count": 2,
                       "auto_gc": false, "enable_match_ip": true,
                       "protect_title": "title", "protect_type": "password",
                       "protect_users": ["alice", "ghost"],
                       "protect_groups": ["family", "ghosts"],
                       "redirect_type": "always", "redirect_uri": "/there",
                       "app": {"name": "album"}})"),
            out);
}

TEST_F(EntryTest, ToJSON_OutIsNoObject_IsReplacedToo) {
  Json::Value out(Json::arrayValue);

  LegalEntry().ToJSON(out);

  EXPECT_TRUE(out.isObject());
  EXPECT_EQ(17u, out.size());
}

TEST_F(EntryTest, ToJSON_OneUnresolvedUser_IsNamed) {
  Entry entry = LegalEntry();
  entry.set_protect_users({"ghost"});
  Json::Value out;

  entry.ToJSON(out);

  EXPECT_EQ(Parsed(R"(["ghost"])"), out["protect_users"]);
}

TEST_F(EntryTest, ToJSON_EveryLookupFails_LeavesTheNamesOut) {
  Entry entry = LegalEntry();
  entry.set_protect_uids({5001});
  entry.set_protect_gids({6001});
  platform_.Fail("VEXOUserGetByUID");
  platform_.Fail("VEXOGroupGetByGID");
  Json::Value out;

  entry.ToJSON(out);

  EXPECT_EQ("", out["owner_user"].asString());
  EXPECT_EQ(Json::Value(Json::arrayValue), out["protect_users"]);
  EXPECT_EQ(Json::Value(Json::arrayValue), out["protect_groups"]);
}

TEST_F(EntryTest, ToJSON_TypesOutOfRange_AreNone) {
  Entry entry;
  entry.set_protect_type(static_cast<Entry::ProtectType>(3));
  entry.set_redirect_type(static_cast<Entry::RedirectType>(3));
  Json::Value out;

  entry.ToJSON(out);

  EXPECT_EQ("none", out["protect_type"].asString());
  EXPECT_EQ("none", out["redirect_type"].asString());
}

// Rows

TEST_F(EntryTest, FromRow_FullRow_ReadsBackEveryField) {
  Entry entry = PasswordEntry("abc", Entry::ENCRYPT_ALGO_MD5);
  entry.set_enabled(false);
  entry.set_start_at(5);
  entry.set_expire_at(-5);
  entry.set_expire_times(6);
  entry.set_use_count(7);
  entry.set_auto_gc(false);
  entry.set_enable_match_ip(false);
  entry.set_protect_title(std::string("t\0'\xff", 4));
  entry.set_protect_uids({4294967295U, 5001});
  entry.set_protect_groups({"ghosts"});
  entry.set_redirect_type(Entry::REDIRECT_URLPARAM);
  entry.set_redirect_uri("/there");
  entry.set_app(Parsed(R"({"a": [1, {"b": null}]})"));
  entry.set_private_data(Parsed(R"({"secret": "s"})"));
  auto columns = entry.GetFieldMap();
  columns["id"] = "12";
  const StoredRow stored(platform_, columns);
  Entry again;

  EXPECT_TRUE(again.FromRow(stored.row()));
  EXPECT_EQ(12, again.get_id());
  EXPECT_EQ("aB3dE6gH9", again.get_hash());
  EXPECT_EQ("photo", again.get_project_name());
  EXPECT_FALSE(again.get_enabled());
  EXPECT_EQ(5001u, again.get_owner_uid());
  EXPECT_EQ(5, again.get_start_at());
  EXPECT_EQ(-5, again.get_expire_at());
  EXPECT_EQ(6, again.get_expire_times());
  EXPECT_EQ(7, again.get_use_count());
  EXPECT_FALSE(again.get_auto_gc());
  EXPECT_FALSE(again.get_enable_match_ip());
  EXPECT_EQ(Entry::PROTECT_PASSWORD, again.get_protect_type());
  EXPECT_EQ(entry.get_protect_title(), again.get_protect_title());
  EXPECT_EQ(entry.get_protect_password(), again.get_protect_password());
  EXPECT_EQ(Entry::ENCRYPT_ALGO_MD5, again.get_protect_password_algo());
  EXPECT_EQ("", again.get_protect_password_salt());
  EXPECT_THAT(again.get_protect_uids(), ElementsAre(4294967295U, 5001));
  EXPECT_THAT(again.get_protect_groups(), ElementsAre("ghosts"));
  EXPECT_EQ(Entry::REDIRECT_URLPARAM, again.get_redirect_type());
  EXPECT_EQ("/there", again.get_redirect_uri());
  EXPECT_EQ(entry.get_app(), again.get_app());
  EXPECT_EQ(entry.get_private_data(), again.get_private_data());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EntryTest, FromRow_EmptyColumns_GiveTheReadersDefaults) {
  auto columns = Columns(LegalData().toStyledString());
  for (const char* const column : {"id", "enabled", "owner_uid", "start_at", "expire_at",
                                   "expire_times", "use_count", "auto_gc"}) {
    columns[column] = "";
  }
  const StoredRow stored(platform_, columns);
  Entry entry = LegalEntry();
  entry.set_id(5);

  EXPECT_FALSE(entry.FromRow(stored.row()));
  EXPECT_EQ(0, entry.get_id());
  EXPECT_FALSE(entry.get_enabled());
  EXPECT_EQ(UID_ERR, entry.get_owner_uid());
  EXPECT_EQ(0, entry.get_start_at());
  EXPECT_EQ(0, entry.get_expire_at());
  EXPECT_EQ(0, entry.get_expire_times());
  EXPECT_EQ(0, entry.get_use_count());
  EXPECT_FALSE(entry.get_auto_gc());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("entry", 335, "UID_ERR == owner_uid_")));
}

TEST_F(EntryTest, FromRow_EnabledAndAutoGc_AreReadDifferently) {
  auto columns = Columns(LegalData().toStyledString());
  columns["enabled"] = "2";
  columns["auto_gc"] = "2";
  const StoredRow stored(platform_, columns);
  Entry entry;

  EXPECT_TRUE(entry.FromRow(stored.row()));
  EXPECT_FALSE(entry.get_enabled());
  EXPECT_TRUE(entry.get_auto_gc());
}

TEST_F(EntryTest, FromRow_ProtectTypeText_UnknownIsUser) {
  const std::pair<const char*, int> texts[] = {
      {"none", 0}, {"password", 1}, {"user", 2}, {"Password", 2}, {"", 2}, {"x", 2}};
  for (const auto& [text, type] : texts) {
    Json::Value data = LegalData();
    data["protect_type"] = text;
    Entry entry;

    ReadData(entry, data);
    EXPECT_EQ(type, entry.get_protect_type()) << text;
  }
}

TEST_F(EntryTest, FromRow_RedirectTypeText_UnknownIsAlways) {
  const std::pair<const char*, int> texts[] = {
      {"none", 0}, {"url_param", 1}, {"always", 2}, {"None", 2}, {"", 2}, {"x", 2}};
  for (const auto& [text, type] : texts) {
    Json::Value data = LegalData();
    data["redirect_type"] = text;
    Entry entry;

    EXPECT_TRUE(ReadData(entry, data));
    EXPECT_EQ(type, entry.get_redirect_type()) << text;
  }
}

TEST_F(EntryTest, FromRow_AlgorithmText_UnknownIsMd5) {
  const std::pair<const char*, int> texts[] = {
      {"default", 0}, {"md5", 1}, {"Default", 1}, {"", 1}, {"x", 1}};
  for (const auto& [text, algo] : texts) {
    Json::Value data = LegalData();
    data["protect_password_algo"] = text;
    Entry entry;

    EXPECT_TRUE(ReadData(entry, data));
    EXPECT_EQ(algo, entry.get_protect_password_algo()) << text;
  }
}

TEST_F(EntryTest, FromRow_EmptyData_ReadsEveryMemberAsMissing) {
  Entry entry = PasswordEntry("abc", Entry::ENCRYPT_ALGO_DEFAULT);
  entry.set_protect_title("t");
  entry.set_protect_users({"alice", "ghost"});
  entry.set_protect_groups({"family", "ghosts"});
  entry.set_redirect_uri("/there");
  entry.set_private_data(Parsed(R"({"secret": "s"})"));

  EXPECT_FALSE(ReadText(entry, "{}"));
  EXPECT_FALSE(entry.get_enable_match_ip());
  EXPECT_EQ(Entry::PROTECT_USER, entry.get_protect_type());
  EXPECT_EQ("", entry.get_protect_title());
  EXPECT_EQ("", entry.get_protect_password());
  EXPECT_EQ(Entry::ENCRYPT_ALGO_MD5, entry.get_protect_password_algo());
  EXPECT_EQ("", entry.get_protect_password_salt());
  EXPECT_THAT(entry.get_protect_users(), IsEmpty());
  EXPECT_THAT(entry.get_protect_groups(), IsEmpty());
  EXPECT_EQ(Entry::REDIRECT_ALWAYS, entry.get_redirect_type());
  EXPECT_EQ("", entry.get_redirect_uri());
  EXPECT_TRUE(entry.get_app().isNull());
  EXPECT_EQ(Json::Value(Json::objectValue), entry.get_private_data());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("entry", 336, "! app_.isObject()")));
}

TEST_F(EntryTest, FromRow_NoPrivateData_IsAnEmptyObject) {
  Json::Value data = LegalData();
  data.removeMember("private_data");
  Entry entry;

  EXPECT_TRUE(ReadData(entry, data));
  EXPECT_EQ(Json::Value(Json::objectValue), entry.get_private_data());
}

TEST_F(EntryTest, FromRow_PrivateDataNull_IsTakenAsItIsAndNotLegal) {
  Json::Value data = LegalData();
  data["private_data"] = Json::Value();
  Entry entry;

  EXPECT_FALSE(ReadData(entry, data));
  EXPECT_TRUE(entry.get_private_data().isNull());
  EXPECT_THAT(log_.lines(),
              ElementsAre(Refusal("entry", 337, "! private_data_.isObject()")));
}

TEST_F(EntryTest, FromRow_InvalidData_IsFalseWithTheColumnsRead) {
  for (const char* const data : {"", "{", "no json", "{\"app\": {}", "\xff"}) {
    Entry entry;

    EXPECT_FALSE(ReadText(entry, data)) << data;
    EXPECT_EQ(12, entry.get_id());
    EXPECT_EQ("aB3dE6gH9", entry.get_hash());
    EXPECT_EQ(5001u, entry.get_owner_uid());
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EntryTest, FromRow_InvalidData_IsNotLegalAfterwards) {
  Entry entry = LegalEntry();

  EXPECT_FALSE(ReadText(entry, "{"));
  EXPECT_FALSE(entry.IsLegal());
}

TEST_F(EntryTest, FromRow_DataOfAnotherShape_IsFalse) {
  for (const char* const data :
       {"[]", "[{\"app\": {}}]", "\"text\"", "5", "null", "true"}) {
    Entry entry;

    EXPECT_FALSE(ReadText(entry, data)) << data;
    EXPECT_EQ(12, entry.get_id());
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EntryTest, FromRow_MemberOfAnotherType_IsFalse) {
  const std::pair<const char*, const char*> members[] = {
      {"enable_match_ip", "\"yes\""},
      {"enable_match_ip", "{\"a\": 1}"},
      {"protect_type", "[1]"},
      {"protect_title", "{\"a\": 1}"},
      {"protect_password", "[1]"},
      {"protect_password_algo", "{\"a\": 1}"},
      {"protect_password_salt", "[1]"},
      {"protect_uids", "[\"alice\"]"},
      {"protect_uids", "[-1]"},
      {"protect_uids", "[4294967296]"},
      {"protect_uids", "[[1]]"},
      {"protect_extra_users", "[{\"a\": 1}]"},
      {"protect_gids", "[1, \"family\"]"},
      {"protect_extra_groups", "[[\"x\"]]"},
      {"redirect_type", "{\"a\": 1}"},
      {"redirect_uri", "[1]"}};
  for (const auto& [member, value] : members) {
    Json::Value data = LegalData();
    data[member] = Parsed(value);
    Entry entry = LegalEntry();

    EXPECT_FALSE(ReadData(entry, data)) << member << ": " << value;
    EXPECT_FALSE(entry.IsLegal()) << member << ": " << value;
  }
}

TEST_F(EntryTest, FromRow_ListThatIsNoArray_IsFalse) {
  for (const char* const member :
       {"protect_uids", "protect_extra_users", "protect_gids", "protect_extra_groups"}) {
    for (const char* const value : {"\"alice\"", "5001", "true", "{\"0\": 5001}"}) {
      Json::Value data = LegalData();
      data[member] = Parsed(value);
      Entry entry = LegalEntry();

      EXPECT_FALSE(ReadData(entry, data)) << member << ": " << value;
    }
  }
}

TEST_F(EntryTest, FromRow_DataNestedTooDeep_IsFalse) {
  for (const std::size_t depth : {2000u, 1000000u}) {
    Entry entry;

    EXPECT_FALSE(ReadText(entry, "{\"app\": {\"a\": " + std::string(depth, '[') +
                                     std::string(depth, ']') + "}}"));
    EXPECT_EQ(12, entry.get_id());
  }
}

TEST_F(EntryTest, FromRow_MissingColumns_AreFalseWithoutException) {
  const StoredRow stored(platform_, {{"other", "x"}});
  Entry entry = LegalEntry();

  EXPECT_FALSE(entry.FromRow(stored.row()));
  EXPECT_EQ("", entry.get_hash());
  EXPECT_EQ(UID_ERR, entry.get_owner_uid());
}

TEST_F(EntryTest, FromRow_RowThatBreaksARule_IsFalseWithTheRecordFilled) {
  auto columns = Columns(LegalData().toStyledString());
  columns["project_name"] = "";
  const StoredRow stored(platform_, columns);
  Entry entry;

  EXPECT_FALSE(entry.FromRow(stored.row()));
  EXPECT_TRUE(entry.get_app().isObject());
  EXPECT_THAT(log_.lines(), ElementsAre(Refusal("entry", 334, "\"\" == project_name_")));
}

TEST_F(EntryTest, FromRow_ExpiredAndExhaustedEntry_IsLegalAndTrue) {
  auto columns = Columns(LegalData().toStyledString());
  columns["expire_at"] = "1000";
  columns["expire_times"] = "1";
  columns["use_count"] = "2";
  const StoredRow stored(platform_, columns);
  Entry entry;

  EXPECT_TRUE(entry.FromRow(stored.row()));
  EXPECT_EQ(1000, entry.get_expire_at());
}

TEST_F(EntryTest, FromRow_AsksForLegalityThroughTheContract) {
  class Other : public EntryPrivate {
    bool IsLegal() const override { return true; }
  };
  const StoredRow stored(platform_, {{"data", "{}"}});

  EXPECT_TRUE(Other().FromRow(stored.row()));
}

TEST_F(EntryTest, HugeFields_AreStoredAndReadBack) {
  Entry entry = LegalEntry();
  entry.set_protect_title(std::string(1 << 20, '\''));
  std::vector<unsigned int> uids;
  for (unsigned int uid = 0; uid < 20000; ++uid) uids.push_back(uid);
  entry.set_protect_uids(uids);
  auto columns = entry.GetFieldMap();
  columns["id"] = "12";
  const StoredRow stored(platform_, columns);
  Entry again;

  EXPECT_TRUE(again.FromRow(stored.row()));
  EXPECT_EQ(entry.GetFieldList(), again.GetFieldList());
}

}  // namespace
}  // namespace VEXO::sharing::record
