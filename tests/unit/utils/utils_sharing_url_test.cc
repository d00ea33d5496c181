#include <gmock/gmock.h>
#include <unistd.h>

#include <string>
#include <utility>

#include "digit_grouping.h"
#include "fake_platform.h"
#include "log_capture.h"
#include "utils.h"

namespace VEXO::sharing {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

const char kTool[] = "/usr/vexo/bin/vexosharingurl";

class GetSharingURLTest : public testing::Test {
 protected:
  bool Ask(const std::string& output) {
    platform_.tools[kTool] = {output, 0};
    return GetSharingURL("hash", 5, true, "four", "five", url_, type_);
  }
  static std::string Line(const std::string& message) {
    return "utils_sharing_url:[0-9]+ \\(" + std::to_string(getpid()) + "\\) " + message +
           "\n\n";
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
  std::string url_ = "before";
  _tag_SHARING_URL_TYPE type_ = SHARING_URL_TYPE_RELAYED;
};

TEST_F(GetSharingURLTest, TwoLines_AreUrlAndType) {
  EXPECT_TRUE(Ask("https://nas.example/s/hash\n2\n"));
  EXPECT_EQ("https://nas.example/s/hash", url_);
  EXPECT_EQ(SHARING_URL_TYPE_CONFIGURED, type_);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(GetSharingURLTest, Inputs_AreTheToolsArgumentsInOrder) {
  platform_.tools[kTool] = {"u\n1\n", 0};

  EXPECT_TRUE(GetSharingURL("a b", -7, false, "'", "\xff", url_, type_));
  ASSERT_EQ(1u, platform_.started.size());
  EXPECT_EQ(kTool, platform_.started[0].program);
  EXPECT_EQ("r", platform_.started[0].mode);
  EXPECT_THAT(platform_.started[0].arguments,
              ElementsAre("vexosharingurl", "a b", "-7", "0", "'", "\xff"));
}

TEST_F(GetSharingURLTest, ShortForm_HasAnEmptyFourthArgument) {
  platform_.tools[kTool] = {"u\n1\n", 0};

  EXPECT_TRUE(GetSharingURL("", 1, true, "", url_, type_));
  EXPECT_THAT(platform_.started.at(0).arguments,
              ElementsAre("vexosharingurl", "", "1", "1", "", ""));
}

TEST_F(GetSharingURLTest, GroupingLocale_NumberStaysPlain) {
  platform_.tools[kTool] = {"u\n1\n", 0};
  const fakes::DigitGrouping grouping;

  EXPECT_TRUE(GetSharingURL("h", 1234567, true, "", url_, type_));
  EXPECT_EQ("1234567", platform_.started.at(0).arguments.at(2));
}

TEST_F(GetSharingURLTest, ToolDoesNotStart_LoggedByOwnerAndCall) {
  EXPECT_FALSE(GetSharingURL("h", 1, true, "", url_, type_));
  EXPECT_EQ("before", url_);
  EXPECT_EQ(SHARING_URL_TYPE_RELAYED, type_);
  EXPECT_THAT(log_.lines(), ElementsAre(MatchesRegex("internal/popen:[0-9]+ \\([0-9]+\\) "
                                                     "VLIBCPopenv failed\\.\n"),
                                        MatchesRegex(Line("popen failed"))));
}

TEST_F(GetSharingURLTest, NoOutput_LoggedAndNothingSet) {
  EXPECT_FALSE(Ask(""));
  EXPECT_EQ("before", url_);
  EXPECT_EQ(SHARING_URL_TYPE_RELAYED, type_);
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(MatchesRegex(Line(
          "Failed \\[NULL == fgets\\(szUrl, BUF_SIZE_, file\\.file\\)\\], err=.*"))));
}

TEST_F(GetSharingURLTest, OneLine_LoggedAndUrlAlreadySet) {
  EXPECT_FALSE(Ask("https://nas.example\n"));
  EXPECT_EQ("https://nas.example", url_);
  EXPECT_EQ(SHARING_URL_TYPE_RELAYED, type_);
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(MatchesRegex(Line("Failed \\[NULL == fgets\\(szType, TYPE_BUF_SIZE_, "
                                    "file\\.file\\)\\], err=.*"))));
}

TEST_F(GetSharingURLTest, FirstLineWithoutLineEnd_LosesItsLastCharacter) {
  EXPECT_FALSE(Ask("https://nas.example"));
  EXPECT_EQ("https://nas.exampl", url_);
}

TEST_F(GetSharingURLTest, CarriageReturn_StaysInTheUrl) {
  EXPECT_TRUE(Ask("u\r\n1\r\n"));
  EXPECT_EQ("u\r", url_);
  EXPECT_EQ(SHARING_URL_TYPE_LOCAL, type_);
}

TEST_F(GetSharingURLTest, EmptyFirstLine_IsAnEmptyUrl) {
  EXPECT_TRUE(Ask("\n3\n"));
  EXPECT_EQ("", url_);
  EXPECT_EQ(SHARING_URL_TYPE_RELAYED, type_);
}

TEST_F(GetSharingURLTest, FirstLineBeginsWithNul_IsAnEmptyUrl) {
  EXPECT_TRUE(Ask(std::string("\0\n1\n", 4)));
  EXPECT_EQ("", url_);
}

TEST_F(GetSharingURLTest, UrlThatFitsTheBuffer_IsWhole) {
  EXPECT_TRUE(Ask(std::string(4094, 'u') + "\n2\n"));
  EXPECT_EQ(std::string(4094, 'u'), url_);
  EXPECT_EQ(SHARING_URL_TYPE_CONFIGURED, type_);
}

TEST_F(GetSharingURLTest, LongerUrl_IsCutAndItsRestIsReadAsTheType) {
  EXPECT_TRUE(Ask(std::string(4094, 'u') + "x123456\n2\n"));
  EXPECT_EQ(std::string(4094, 'u'), url_);
  EXPECT_EQ(123, static_cast<int>(type_));
}

TEST_F(GetSharingURLTest, HugeUrl_IsCut) {
  EXPECT_TRUE(Ask(std::string(1 << 20, 'u') + "\n2\n"));
  EXPECT_EQ(4094u, url_.size());
  EXPECT_EQ(SHARING_URL_TYPE_UNKNOWN, type_);
}

TEST_F(GetSharingURLTest, TypeLine_IsItsLeadingDigitsUpToThreeCharacters) {
  const std::pair<const char*, int> lines[] = {
      {"0\n", 0},      {"2", 2},     {"12\n", 12}, {"123\n", 123},
      {"4567\n", 456}, {"2x\n", 2},  {" 3\n", 3},  {"x3\n", 0},
      {"\n", 0},       {"-1\n", -1}, {"2\n9\n", 2}};
  for (const auto& [line, type] : lines) {
    EXPECT_TRUE(Ask(std::string("u\n") + line)) << line;
    EXPECT_EQ(type, static_cast<int>(type_)) << line;
  }
}

TEST_F(GetSharingURLTest, ToolFailsButPrintsBoth_IsSuccess) {
  platform_.tools[kTool] = {"u\n1\n", 1 << 8};

  EXPECT_TRUE(GetSharingURL("h", 1, true, "", url_, type_));
  EXPECT_EQ("u", url_);
}

TEST_F(GetSharingURLTest, EveryCall_ClosesThePipe) {
  for (const char* const output : {"", "u\n", "u\n1\n", "u\n1\nmore\n"}) {
    platform_.ForgetCalls();

    Ask(output);
    EXPECT_THAT(platform_.calls({"VLIBCPclose"}), ElementsAre("VLIBCPclose(pipe)"));
  }
}

}  // namespace
}  // namespace VEXO::sharing
