#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>
#include <sys/stat.h>

#include <string>

#include "log_capture.h"
#include "system_test.h"
#include "utils.h"

using fakes::LogCapture;
using system_test::ReadFile;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using VEXO::sharing::_tag_SHARING_URL_TYPE;
using VEXO::sharing::GetSharingURL;
using VEXO::sharing::SendWebapi;
using VEXO::sharing::SHARING_URL_TYPE_CONFIGURED;
using VEXO::sharing::SHARING_URL_TYPE_UNKNOWN;

namespace {

void InstallTool(const std::string& name, const std::string& script) {
  const std::string path = std::string(system_test::kToolFolder) + "/" + name;
  system_test::WriteFile(path, "#!/bin/sh\n" + script);
  ASSERT_EQ(chmod(path.c_str(), 0755), 0);
}

const char kTellArguments[] =
    "for a in \"$0\" \"$@\"; do echo \"[$a]\"; done > /tmp/told\n";

struct Url {
  std::string url = "unset";
  _tag_SHARING_URL_TYPE type = SHARING_URL_TYPE_UNKNOWN;
};

}  // namespace

TEST(SharingUrl, Tool_GetsTheArgumentsAndItsOutputIsRead) {
  InstallTool("vexosharingurl", std::string(kTellArguments) +
                                    "echo https://nas.example/sharing/abc; echo 2\n");
  LogCapture log;
  Url answer;

  EXPECT_TRUE(GetSharingURL("photos; $(id)", 8443, true, "", "a 'b' \"c\"", answer.url,
                            answer.type));

  EXPECT_EQ(answer.url, "https://nas.example/sharing/abc");
  EXPECT_EQ(answer.type, SHARING_URL_TYPE_CONFIGURED);
  EXPECT_EQ(ReadFile("/tmp/told"),
            "[/usr/vexo/bin/vexosharingurl]\n[photos; $(id)]\n[8443]\n[1]\n[]\n"
            "[a 'b' \"c\"]\n");
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(SharingUrl, SecondLineMissing_FailsWithTheUrlSet) {
  InstallTool("vexosharingurl", "echo https://nas.example/\n");
  LogCapture log;
  Url answer;

  EXPECT_FALSE(GetSharingURL("photos", 1, false, "", answer.url, answer.type));

  EXPECT_EQ(answer.url, "https://nas.example/");
  EXPECT_THAT(
      log.lines(),
      Contains(HasSubstr("Failed [NULL == fgets(szType, TYPE_BUF_SIZE_, file.file)]")));
}

TEST(SharingUrl, SilentTool_Fails) {
  InstallTool("vexosharingurl", "exit 0\n");
  LogCapture log;
  Url answer;

  EXPECT_FALSE(GetSharingURL("photos", 1, false, "", answer.url, answer.type));

  EXPECT_EQ(answer.url, "unset");
  EXPECT_THAT(log.lines(),
              Contains(HasSubstr("Failed [NULL == fgets(szUrl, BUF_SIZE_, file.file)]")));
}

TEST(SharingUrl, MissingTool_IsLogged) {
  LogCapture log;
  Url answer;

  EXPECT_FALSE(GetSharingURL("photos", 1, false, "", answer.url, answer.type));

  EXPECT_THAT(log.lines(), testing::ElementsAre(HasSubstr("VLIBCPopenv failed.\n"),
                                                HasSubstr("popen failed\n\n")));
}

TEST(WebApi, Tool_GetsTheArgumentsAndItsOutputIsParsed) {
  InstallTool("vexowebapi", std::string(kTellArguments) +
                                "echo '{\"success\":true,\"data\":{\"items\":[1,2]}}'\n");
  LogCapture log;
  Json::Value params(Json::objectValue);
  params["path"] = "/photo/a b";
  params["limit"] = 5;
  Json::Value answer;

  EXPECT_TRUE(SendWebapi(answer, "VEXO.Photo.List", 2, "list", params));

  EXPECT_TRUE(answer["success"].asBool());
  EXPECT_EQ(answer["data"]["items"].size(), 2U);
  EXPECT_EQ(ReadFile("/tmp/told"),
            "[/usr/vexo/bin/vexowebapi]\n[--exec]\n[api=VEXO.Photo.List]\n[version=2]\n"
            "[method=list]\n[limit=5]\n[path=/photo/a b]\n");
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(WebApi, LongOutput_IsReadWhole) {
  InstallTool("vexowebapi",
              "printf '\"'; head -c 1000000 /dev/zero | tr '\\0' x; printf '\"'\n");
  Json::Value answer;

  EXPECT_TRUE(SendWebapi(answer, "api", 1, "get", Json::Value()));

  EXPECT_EQ(answer.asString().size(), 1000000U);
}

TEST(WebApi, ToolThatFailsAfterPrintingJson_IsSuccess) {
  InstallTool("vexowebapi", "echo '{\"success\":false}'; exit 3\n");
  Json::Value answer;

  EXPECT_TRUE(SendWebapi(answer, "api", 1, "get", Json::Value()));

  EXPECT_FALSE(answer["success"].asBool());
}

TEST(WebApi, OutputThatIsNotJson_FailsLogged) {
  InstallTool("vexowebapi", "echo 'no json'\n");
  LogCapture log;
  Json::Value answer;

  EXPECT_FALSE(SendWebapi(answer, "api", 1, "get", Json::Value()));

  EXPECT_THAT(log.lines(), Contains(HasSubstr("json read failed\n\n")));
}

TEST(WebApi, MissingTool_IsLogged) {
  LogCapture log;
  Json::Value answer;

  EXPECT_FALSE(SendWebapi(answer, "api", 1, "get", Json::Value()));

  EXPECT_THAT(log.lines(), testing::ElementsAre(HasSubstr("VLIBCPopenv failed.\n"),
                                                HasSubstr("popen failed\n\n")));
}
