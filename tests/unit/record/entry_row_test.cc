#include <gmock/gmock.h>
#include <json/value.h>

#include <string>
#include <utility>
#include <vector>

#include "entry.h"
#include "entry_test.h"
#include "internal/entry_private.h"
#include "log_matchers.h"
#include "stored_row.h"

namespace VEXO::sharing::record {
namespace {

using fakes::Refusal;
using testing::ElementsAre;
using testing::IsEmpty;

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

TEST_F(EntryTest, FromRow_EmptyColumns_HaveTheDefaults) {
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

TEST_F(EntryTest, FromRow_PrivateDataNull_IsReadAsNullAndNotLegal) {
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

TEST_F(EntryTest, FromRow_ListThatIsNotAnArray_IsFalse) {
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

TEST_F(EntryTest, FromRow_CallsTheVirtualIsLegal) {
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
