#include <gmock/gmock.h>
#include <json/value.h>

#include <string>
#include <utility>
#include <vector>

#include "digit_grouping.h"
#include "entry.h"
#include "entry_test.h"
#include "internal/entry_private.h"
#include "stored_row.h"
#include "time_zone.h"

namespace VEXO::sharing::record {
namespace {

using testing::ElementsAre;
using testing::Pair;

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
  const fakes::TimeZone zone("EAST-3");
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

TEST_F(EntryTest, ToJSON_OutIsNotAnObject_IsReplacedToo) {
  Json::Value out(Json::arrayValue);

  LegalEntry().ToJSON(out);

  EXPECT_TRUE(out.isObject());
  EXPECT_EQ(17u, out.size());
}

TEST_F(EntryTest, ToJSON_UserNotFound_IsNamed) {
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

}  // namespace
}  // namespace VEXO::sharing::record
