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

TEST(ReadShare, DropBox_HasItsLimits) {
  EXPECT_FALSE(Read(R"({"path": "/a"})")->drop);
  EXPECT_FALSE(Read(R"({"path": "/a", "drop": false, "max_files": 1})")->drop);
  const auto unlimited = Read(R"({"path": "/a", "drop": true})");
  EXPECT_EQ(unlimited->drop->bytes, UINT64_MAX);
  EXPECT_EQ(unlimited->drop->files, UINT64_MAX);
  const auto share =
      Read(R"({"path": "/a", "drop": true, "max_bytes": 5000000000, "max_files": 7})");
  EXPECT_EQ(share->drop->bytes, 5000000000U);
  EXPECT_EQ(share->drop->files, 7U);
}

TEST(ReadShare, InvalidDropBox_IsNoShare) {
  for (const char* const members :
       {R"("drop": 1)", R"("drop": "true")", R"("drop": {})",
        R"("drop": true, "max_bytes": 0)", R"("drop": true, "max_bytes": -1)",
        R"("drop": true, "max_bytes": "1")", R"("drop": true, "max_files": 1.5)",
        R"("drop": true, "max_files": true)"}) {
    EXPECT_FALSE(Read(std::string(R"({"path": "/a", )") + members + "}")) << members;
  }
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
