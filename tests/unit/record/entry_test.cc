#include "entry.h"

#include <gmock/gmock.h>
#include <json/value.h>

#include <limits>
#include <string>
#include <utility>

#include "entry_test.h"

namespace VEXO::sharing::record {
namespace {

using testing::IsEmpty;

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

TEST_F(EntryTest, PlainAccessors_ReturnWhatWasSet) {
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

TEST_F(EntryTest, SetExpireTimes_FromNoLimitToALimit_SetsTheUseCountToZero) {
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

TEST_F(EntryTest, SetExpireTimes_NegativeAfterNoLimit_SetsTheUseCountToZero) {
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

TEST_F(EntryTest, IncUseCount_LargestInt_IsKept) {
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

}  // namespace
}  // namespace VEXO::sharing::record
