#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "entry_db.h"
#include "log_capture.h"
#include "sharing_db.h"
#include "system_test.h"
#include "utils.h"

using fakes::LogCapture;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace VEXO::sharing;

namespace {

const char kConfiguration[] = "/usr/vexo/etc/sharing-url.conf";

/// GetSharingURL with the built tool at its fixed path.
class UrlTool : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::copy_file(URL_TOOL,
                               std::string(system_test::kToolFolder) + "/vexosharingurl");
  }

  std::string url_ = "unset";
  _tag_SHARING_URL_TYPE type_ = SHARING_URL_TYPE_UNKNOWN;
  LogCapture log_;
};

}  // namespace

TEST_F(UrlTool, GivenHost_IsInTheUrl) {
  EXPECT_TRUE(GetSharingURL("a b", 8443, true, "fd00::1", "photo", url_, type_));

  EXPECT_EQ(url_, "https://[fd00::1]:8443/photo/sharing/a%20b");
  EXPECT_EQ(type_, SHARING_URL_TYPE_LOCAL);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(UrlTool, NoHost_UsesTheConfiguredBase) {
  system_test::WriteFile(kConfiguration, "base = https://share.example.org:5001/nas\n");

  EXPECT_TRUE(GetSharingURL("aB3", 0, false, "", url_, type_));

  EXPECT_EQ(url_, "https://share.example.org:5001/nas/sharing/aB3");
  EXPECT_EQ(type_, SHARING_URL_TYPE_CONFIGURED);
}

TEST_F(UrlTool, LinkOfAProject_HasTheBaseAndPrefixOfTheProject) {
  system_test::WriteFile(kConfiguration,
                         "base = https://share.example.org\n"
                         "base.photos = https://photos.example.org\n"
                         "prefix.photos = app\n");
  db::SharingDB database;
  db::EntryDB links(database);
  record::Entry link = system_test::Link("aB3");
  link.set_project_name("photos");
  ASSERT_TRUE(links.Create(link));

  EXPECT_TRUE(GetSharingURL("aB3", 0, false, "", url_, type_));
  EXPECT_EQ(url_, "https://photos.example.org/app/sharing/aB3");
  EXPECT_EQ(type_, SHARING_URL_TYPE_CONFIGURED);

  EXPECT_TRUE(GetSharingURL("unknown", 0, false, "", url_, type_));
  EXPECT_EQ(url_, "https://share.example.org/sharing/unknown");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(UrlTool, RelayedBase_HasTheTypeRelayed) {
  system_test::WriteFile(kConfiguration, "base = https://r.example\ntype = relayed\n");

  EXPECT_TRUE(GetSharingURL("aB3", 0, false, "", url_, type_));

  EXPECT_EQ(type_, SHARING_URL_TYPE_RELAYED);
}

TEST_F(UrlTool, NoHostAndNoBase_UsesTheNameOfTheMachine) {
  EXPECT_TRUE(GetSharingURL("aB3", 0, false, "", url_, type_));

  EXPECT_THAT(url_, testing::MatchesRegex("http://[^/:]+/sharing/aB3"));
  EXPECT_EQ(type_, SHARING_URL_TYPE_LOCAL);
}

TEST_F(UrlTool, InvalidArguments_FailAndLeaveTheUrl) {
  EXPECT_FALSE(GetSharingURL("aB3", 65536, true, "nas.example", "", url_, type_));
  EXPECT_FALSE(GetSharingURL("aB3", -1, true, "nas.example", "", url_, type_));
  EXPECT_FALSE(GetSharingURL("", 0, true, "nas.example", "", url_, type_));
  EXPECT_FALSE(GetSharingURL("aB3", 0, true, "a b", "", url_, type_));

  EXPECT_EQ(url_, "unset");
  EXPECT_THAT(log_.lines(), Contains(HasSubstr("NULL == fgets(szUrl")));
}

TEST_F(UrlTool, UrlOfTheMaximumLength_IsReturnedAndALongerOneFails) {
  const std::string longest(4094 - std::string("https://nas/sharing/").size(), 'h');

  EXPECT_TRUE(GetSharingURL(longest, 0, true, "nas", "", url_, type_));
  EXPECT_EQ(url_, "https://nas/sharing/" + longest);
  EXPECT_EQ(type_, SHARING_URL_TYPE_LOCAL);

  EXPECT_FALSE(GetSharingURL(longest + "h", 0, true, "nas", "", url_, type_));
}
