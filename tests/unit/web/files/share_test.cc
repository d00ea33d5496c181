#include "web/files/share.h"

#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>

using web::NameOfShare;
using web::ReadShare;
using web::Share;

namespace {

std::optional<Share> Read(const std::string& text) {
  Json::Value app;
  if (!Json::Reader().parse(text, app)) ADD_FAILURE() << text;
  return ReadShare(app);
}

std::string NameOf(const std::string& path) { return NameOfShare({path, false}); }

}  // namespace

TEST(ReadShare, AbsolutePath_IsRead) {
  const std::optional<Share> share = Read(R"({"path": "/srv/photos", "other": 1})");

  ASSERT_TRUE(share);
  EXPECT_EQ(share->path, "/srv/photos");
  EXPECT_FALSE(share->hidden);
}

TEST(ReadShare, HiddenNames_AreShownForTrueOnly) {
  EXPECT_TRUE(Read(R"({"path": "/a", "hidden": true})")->hidden);
  for (const char* const value : {"false", "1", "\"true\"", "null", "[]", "{}"}) {
    const auto share = Read(std::string(R"({"path": "/a", "hidden": )") + value + "}");
    EXPECT_FALSE(share->hidden) << value;
  }
}

TEST(ReadShare, NoAbsolutePath_IsNoShare) {
  for (const char* const text :
       {"{}", R"({"path": "srv"})", R"({"path": ""})", R"({"path": 1})",
        R"({"path": null})", R"({"path": ["/srv"]})", R"({"path": "/srv\u0000/x"})",
        R"({"Path": "/srv"})"}) {
    EXPECT_FALSE(Read(text)) << text;
  }
  EXPECT_FALSE(ReadShare(Json::Value("/srv")));
  EXPECT_FALSE(ReadShare(Json::Value()));
  EXPECT_FALSE(ReadShare(Json::Value(Json::arrayValue)));
}

TEST(NameOfShare, LastComponent_IsTheName) {
  EXPECT_EQ(NameOf("/srv/photos"), "photos");
  EXPECT_EQ(NameOf("/srv/photos//"), "photos");
  EXPECT_EQ(NameOf("/photos"), "photos");
}

TEST(NameOfShare, PathWithoutAName_HasOneOfOurs) {
  EXPECT_EQ(NameOf("/"), "files");
  EXPECT_EQ(NameOf("/srv/.."), "files");
  EXPECT_EQ(NameOf("/srv/./"), "files");
}
