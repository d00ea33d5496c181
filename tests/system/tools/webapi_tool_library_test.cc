#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "entry_db.h"
#include "log_capture.h"
#include "sharing_db.h"
#include "system_test.h"
#include "utils.h"

using fakes::LogCapture;
using system_test::Answer;
using system_test::InChild;
using testing::IsEmpty;
using VEXO::sharing::SendWebapi;
using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::SharingDB;
using VEXO::sharing::record::Entry;

namespace {

const char kLink[] = "VEXO.Sharing.Link";

/// SendWebapi with the real tool in its place.
class WebApiTool : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::copy_file(WEBAPI_TOOL,
                               std::string(system_test::kToolFolder) + "/vexowebapi");
    // Accounts other than root may not be able to enter the build tree.
    std::filesystem::copy(LIBRARY_FOLDER, "/usr/vexo/lib");
    setenv("LD_LIBRARY_PATH", "/usr/vexo/lib", 1);
  }
};

Json::Value Wanted() {
  Json::Value wanted;
  wanted["project_name"] = "it's été";
  wanted["owner_user"] = "alice";
  return wanted;
}

/// What the tool answers to a call that is run and parsed.
Json::Value Call(const std::string& method, const Json::Value& params) {
  Json::Value answer;
  EXPECT_TRUE(SendWebapi(answer, kLink, 1, method, params));
  return answer;
}

}  // namespace

TEST_F(WebApiTool, CreatedLink_IsReadByTheLibrary) {
  LogCapture log;
  Json::Value wanted = Wanted();
  wanted["expire_times"] = 3;
  wanted["enable_match_ip"] = false;
  wanted["app"] = "{\"album\":\"été\"}";

  const Json::Value answer = Call("create", wanted);

  ASSERT_TRUE(answer["success"].asBool()) << answer.toStyledString();
  Entry link;
  EntryDB links(SharingDB::Instance());
  ASSERT_TRUE(links.GetByHash(answer["data"]["link"]["hash"].asString(), link));
  EXPECT_EQ(link.get_project_name(), "it's été");
  EXPECT_EQ(link.get_owner_uid(), 5001U);
  EXPECT_EQ(link.get_expire_times(), 3);
  EXPECT_FALSE(link.get_enable_match_ip());
  EXPECT_EQ(link.get_app()["album"], "été");
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(WebApiTool, GeneratedPassword_OpensTheLinkUntilTheNextOne) {
  Json::Value wanted = Wanted();
  wanted["generate_password"] = true;
  const Json::Value created = Call("create", wanted)["data"];
  Json::Value change;
  change["hash"] = created["link"]["hash"];
  change["generate_password"] = true;

  const Json::Value changed = Call("set", change)["data"];

  Entry link;
  EntryDB links(SharingDB::Instance());
  ASSERT_TRUE(links.GetByHash(created["link"]["hash"].asString(), link));
  EXPECT_EQ(link.get_protect_type(), Entry::PROTECT_PASSWORD);
  EXPECT_TRUE(link.IsPasswordValid(changed["password"].asString()));
  EXPECT_FALSE(link.IsPasswordValid(created["password"].asString()));
}

TEST_F(WebApiTool, RefusedCall_IsAnAnswerToo) {
  Json::Value answer;

  EXPECT_TRUE(SendWebapi(answer, "VEXO.Sharing.Nothing", 1, "list", Json::Value()));
  EXPECT_EQ(answer["error"]["code"], "unknown_api");

  EXPECT_TRUE(SendWebapi(answer, kLink, 2, "list", Json::Value()));
  EXPECT_EQ(answer["error"]["code"], "unknown_version");

  EXPECT_EQ(Call("list", Json::Value())["error"]["code"], "no_database");
}

TEST_F(WebApiTool, LongAnswer_IsReadWhole) {
  const std::string title(100000, 't');
  Json::Value wanted = Wanted();
  wanted["protect_title"] = title;
  Call("create", wanted);

  const Json::Value answer = Call("list", Json::Value());

  EXPECT_EQ(answer["data"]["items"][0]["protect_title"], title);
}

TEST_F(WebApiTool, OtherAccount_IsNotPermitted) {
  Call("create", Wanted());

  const Answer answer = InChild(system_test::Neither(), [] {
    return Call("list", Json::Value())["error"]["code"].asString();
  });

  EXPECT_EQ(answer.text, "not_permitted");
}

TEST_F(WebApiTool, SystemAccount_IsServed) {
  Call("create", Wanted());

  const Answer answer = InChild(system_test::System(), [] {
    return Call("info", Json::Value())["data"]["total"].asString();
  });

  EXPECT_EQ(answer.text, "1");
}
