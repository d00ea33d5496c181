#include <gmock/gmock.h>
#include <json/value.h>
#include <unistd.h>

#include <limits>
#include <string>

#include "digit_grouping.h"
#include "fake_platform.h"
#include "log_capture.h"
#include "utils.h"

namespace VEXO::sharing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

const char kTool[] = "/usr/vexo/bin/vexowebapi";

class SendWebapiTest : public testing::Test {
 protected:
  void ToolPrints(const std::string& output, int status = 0) {
    platform_.tools[kTool] = {output, status};
  }
  bool Send(const Json::Value& params) {
    return SendWebapi(out_, "Vexo.Share", 2, "list", params);
  }
  /// A log line of this source with this message.
  static std::string Line(const std::string& message) {
    return "utils_send_webapi:[0-9]+ \\(" + std::to_string(getpid()) + "\\) " + message +
           "\n\n";
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
  Json::Value out_ = "before";
};

TEST_F(SendWebapiTest, EmptyParams_RunsTheToolWithFiveArguments) {
  ToolPrints(R"({"success":true})");

  EXPECT_TRUE(Send(Json::Value(Json::objectValue)));
  EXPECT_TRUE(out_["success"].asBool());
  ASSERT_EQ(1u, platform_.started.size());
  EXPECT_EQ(kTool, platform_.started[0].program);
  EXPECT_EQ("r", platform_.started[0].mode);
  EXPECT_THAT(
      platform_.started[0].arguments,
      ElementsAre("vexowebapi", "--exec", "api=Vexo.Share", "version=2", "method=list"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SendWebapiTest, NullParams_AreNone) {
  ToolPrints("{}");

  EXPECT_TRUE(Send(Json::Value()));
  EXPECT_EQ(5u, platform_.started.at(0).arguments.size());
}

TEST_F(SendWebapiTest, Params_FollowInTheOrderOfTheirNamesAsText) {
  ToolPrints("{}");
  Json::Value params;
  params["zeta"] = "last 'one'";
  params["empty"] = "";
  params["flag"] = true;
  params["count"] = -5;
  params["id"] = 4294967295U;
  params["nothing"] = Json::Value();

  EXPECT_TRUE(Send(params));
  EXPECT_THAT(platform_.started.at(0).arguments,
              ElementsAre("vexowebapi", "--exec", "api=Vexo.Share", "version=2",
                          "method=list", "count=-5", "empty=", "flag=true",
                          "id=4294967295", "nothing=", "zeta=last 'one'"));
}

TEST_F(SendWebapiTest, GroupingLocale_NumbersStayPlain) {
  ToolPrints("{}");
  Json::Value params;
  params["count"] = 1234567;
  params["ratio"] = 1234.5;
  const fakes::DigitGrouping grouping;

  EXPECT_TRUE(SendWebapi(out_, "a", std::numeric_limits<int>::min(), "m", params));
  EXPECT_THAT(platform_.started.at(0).arguments,
              ElementsAre("vexowebapi", "--exec", "api=a", "version=-2147483648",
                          "method=m", "count=1234567", "ratio=1234.5"));
}

class SendWebapiRefuses : public SendWebapiTest,
                          public testing::WithParamInterface<Json::Value> {};

TEST_P(SendWebapiRefuses, ParamsWithoutTextForm_LoggedAndNothingRun) {
  ToolPrints("{}");

  EXPECT_FALSE(Send(GetParam()));
  EXPECT_EQ(Json::Value("before"), out_);
  EXPECT_THAT(platform_.calls(), IsEmpty());
  EXPECT_THAT(log_.lines(), ElementsAre(MatchesRegex(Line(".*"))));
}

Json::Value ObjectWith(const Json::Value& member) {
  Json::Value object;
  object["name"] = member;
  return object;
}

INSTANTIATE_TEST_SUITE_P(Params, SendWebapiRefuses,
                         testing::Values(Json::Value("text"), Json::Value(5),
                                         Json::Value(true), Json::Value(Json::arrayValue),
                                         ObjectWith(Json::objectValue),
                                         ObjectWith(Json::arrayValue),
                                         ObjectWith(ObjectWith(Json::Value("deep")))));

TEST_F(SendWebapiTest, ToolDoesNotStart_LoggedByOwnerAndCall) {
  EXPECT_FALSE(Send(Json::Value()));
  EXPECT_EQ(Json::Value("before"), out_);
  EXPECT_THAT(log_.lines(), ElementsAre(MatchesRegex("internal/popen:[0-9]+ \\([0-9]+\\) "
                                                     "VLIBCPopenv failed\\.\n"),
                                        MatchesRegex(Line("popen failed"))));
}

TEST_F(SendWebapiTest, LongOutput_IsReadWhole) {
  for (const std::size_t length : {4094u, 4095u, 4096u, 8192u, 1u << 20}) {
    ToolPrints("\"" + std::string(length, 'x') + "\"");

    EXPECT_TRUE(Send(Json::Value()));
    EXPECT_EQ(length, out_.asString().size());
  }
}

TEST_F(SendWebapiTest, ToolFailsButPrintsJson_IsSuccess) {
  ToolPrints(R"({"success":false})", 1 << 8);

  EXPECT_TRUE(Send(Json::Value()));
  EXPECT_FALSE(out_["success"].asBool());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SendWebapiTest, OutputIsNotJson_LoggedAndOutUnchanged) {
  const std::string deep = std::string(2000, '[') + std::string(2000, ']');
  for (const std::string& output :
       {std::string(), std::string("\n"), std::string("error"), std::string("{\"a\":"),
        std::string("\0\xff", 2), deep}) {
    const fakes::LogCapture log;
    ToolPrints(output);

    EXPECT_FALSE(Send(Json::Value()));
    EXPECT_EQ(Json::Value("before"), out_);
    EXPECT_THAT(log.lines(), ElementsAre(MatchesRegex(Line("json read failed"))));
  }
}

TEST_F(SendWebapiTest, EveryCall_ClosesThePipe) {
  for (const std::string output : {"{}", "no json"}) {
    platform_.ForgetCalls();
    ToolPrints(output);

    Send(Json::Value());
    EXPECT_THAT(platform_.calls({"VLIBCPclose"}), ElementsAre("VLIBCPclose(pipe)"));
  }
}

}  // namespace
}  // namespace VEXO::sharing
