#include "admin/link_json.h"

#include <gmock/gmock.h>

#include "admin/accounts.h"
#include "admin/json_text.h"
#include "admin_test.h"

namespace admin {
namespace {

using testing::ElementsAre;

const char kTool[] = "/usr/vexo/bin/vexosharingurl";

class LinkJsonTest : public AdminTest {
 protected:
  Entry Link(const std::string& hash, const std::string& project = "photos") {
    Entry link = AdminTest::Link(hash);
    link.set_project_name(project);
    return link;
  }

  std::string Url(const Entry& link, const std::string& tool_output) {
    platform_.tools[kTool] = {tool_output, 0};
    return urls_.Get(link);
  }

  std::vector<std::string> AskedHashes() const {
    std::vector<std::string> hashes;
    for (const auto& started : platform_.started) hashes.push_back(started.arguments[1]);
    return hashes;
  }

  /// A link with accounts of every kind.
  static Entry Full() {
    Entry link = AdminTest::Link("full");
    link.set_protect_type(Entry::PROTECT_USER);
    link.set_protect_users({"alice", "zoe"});
    link.set_protect_gids({kStaff, kDeleted});
    link.set_protect_title("title");
    link.set_redirect_type(Entry::REDIRECT_URLPARAM);
    link.set_redirect_uri("/x?a=b");
    link.set_expire_times(7);
    link.set_use_count(3);
    link.set_start_at(100);
    link.set_expire_at(200);
    link.set_enable_match_ip(false);
    return link;
  }

  LinkUrls urls_;
};

TEST_F(LinkJsonTest, LinksOfAProject_ShareOneCallOfTheTool) {
  EXPECT_EQ(Url(Link("aaa"), "https://nas/photos/aaa\n2\n"), "https://nas/photos/aaa");
  EXPECT_EQ(Url(Link("bbbb"), "unused\n2\n"), "https://nas/photos/bbbb");
  EXPECT_EQ(Url(Link("ccc", "videos"), "https://nas/videos/ccc\n2\n"),
            "https://nas/videos/ccc");
  EXPECT_EQ(Url(Link("ddd"), "unused\n2\n"), "https://nas/photos/ddd");
  EXPECT_EQ(Url(Link("eee", "videos"), "unused\n2\n"), "https://nas/videos/eee");

  EXPECT_THAT(AskedHashes(), ElementsAre("aaa", "ccc"));
  EXPECT_FALSE(urls_.unknown());
}

TEST_F(LinkJsonTest, Tool_IsCalledForHttpsWithDefaultPortAndHost) {
  Url(Link("aaa"), "https://nas/aaa\n2\n");

  EXPECT_THAT(platform_.started.at(0).arguments,
              ElementsAre("vexosharingurl", "aaa", "0", "1", "", ""));
}

TEST_F(LinkJsonTest, HashThatMustBeEscaped_IsEscaped) {
  EXPECT_EQ(Url(Link("a b"), "https://nas/a%20b\n2\n"), "https://nas/a%20b");
  EXPECT_EQ(Url(Link("c/d?"), "unused\n2\n"), "https://nas/c%2Fd%3F");
}

TEST_F(LinkJsonTest, UrlThatDoesNotEndWithTheHash_IsNotReused) {
  EXPECT_EQ(Url(Link("aaa"), "https://nas/?aaa=1\n2\n"), "https://nas/?aaa=1");
  EXPECT_EQ(Url(Link("bbb"), "https://nas/?bbb=1\n2\n"), "https://nas/?bbb=1");
  EXPECT_EQ(Url(Link("long-hash"), "short\n2\n"), "short");
  EXPECT_THAT(AskedHashes(), ElementsAre("aaa", "bbb", "long-hash"));
}

TEST_F(LinkJsonTest, ToolThatFails_IsNotRunAgain) {
  EXPECT_EQ(Url(Link("aaa"), "https://nas/photos/aaa\n2\n"), "https://nas/photos/aaa");
  EXPECT_EQ(Url(Link("bbb", "videos"), ""), "");
  EXPECT_TRUE(urls_.unknown());
  EXPECT_EQ(Url(Link("ccc", "music"), "https://nas/music/ccc\n2\n"), "");
  EXPECT_EQ(Url(Link("ddd"), ""), "https://nas/photos/ddd");  // known before
  EXPECT_THAT(AskedHashes(), ElementsAre("aaa", "bbb"));
}

TEST_F(LinkJsonTest, EmptyUrlOrMissingTool_IsUnknown) {
  EXPECT_EQ(Url(Link("aaa"), "\n2\n"), "");
  EXPECT_TRUE(urls_.unknown());

  platform_.tools.clear();
  LinkUrls urls;
  EXPECT_EQ(urls.Get(Link("aaa")), "");
  EXPECT_TRUE(urls.unknown());
}

TEST_F(LinkJsonTest, Link_HasIdsStateTimesAndUrl) {
  platform_.tools[kTool] = {"https://nas/aaa\n2\n", 0};
  Entry link = Link("aaa");
  link.set_id(7);
  link.set_start_at(100);
  link.set_expire_at(200);
  const Json::Value json = LinkJson(link, urls_, 300);

  EXPECT_EQ(json["id"], 7);
  EXPECT_EQ(json["hash"], "aaa");
  EXPECT_EQ(json["owner_uid"], kAlice);
  EXPECT_EQ(json["owner_user"], "alice");
  EXPECT_EQ(json["start_at"], Json::Int64{100});
  EXPECT_EQ(json["expire_at"], Json::Int64{200});
  EXPECT_EQ(json["state"], "expired");
  EXPECT_EQ(json["url"], "https://nas/aaa");
}

TEST_F(LinkJsonTest, UnknownUrl_IsNull) {
  const Json::Value json = LinkJson(Link("aaa"), urls_, 300);
  EXPECT_TRUE(json.isMember("url"));
  EXPECT_TRUE(json["url"].isNull());
}

TEST_F(LinkJsonTest, Link_HoldsNoSecretAndNoPrivateData) {
  Entry link = Link("aaa");
  link.set_protect_type(Entry::PROTECT_PASSWORD);
  link.set_protect_password("secret", true, Entry::ENCRYPT_ALGO_DEFAULT);
  Json::Value data(Json::objectValue);
  data["k"] = "private-value";
  link.set_private_data(data);

  const std::string text = JsonText(LinkJson(link, urls_, 0));
  EXPECT_EQ(text.find("private"), std::string::npos);
  const std::string details = JsonText(LinkDetailsJson(link, urls_, 0));
  EXPECT_NE(details.find("private-value"), std::string::npos);
  for (const std::string& json : {text, details}) {
    EXPECT_EQ(json.find(link.get_protect_password()), std::string::npos);
    EXPECT_EQ(json.find(link.get_protect_password_salt()), std::string::npos);
  }
}

TEST_F(LinkJsonTest, Link_HasThePublicViewOfTheLibrary) {
  Json::Value view;
  Full().ToJSON(view);
  for (const char* const time : {"start_at", "expire_at"}) view.removeMember(time);

  const Json::Value json = LinkJson(Full(), urls_, 0);

  for (const std::string& name : view.getMemberNames()) {
    EXPECT_EQ(json[name], view[name]) << name;
  }
  EXPECT_EQ(JsonText(json["protect_users"]), R"(["alice","zoe"])");
}

TEST_F(LinkJsonTest, TextOfALink_IsThatOfItsValue) {
  Json::Value app(Json::objectValue);
  app["name"] = "\"\n\x7f\xc3\xa9";
  Json::Value real = app;
  real["number"] = 0.1;
  for (const Json::Value& value : {app, real}) {
    for (const char* const title : {"", "\"\\\t", "\xc3\xa9", "\xe2\x82", "\xff"}) {
      Entry link = Full();
      link.set_app(value);
      link.set_private_data(value);
      link.set_protect_title(title);

      const std::string text = LinkJsonText(link, urls_, 0);
      EXPECT_EQ(text, JsonText(LinkJson(link, urls_, 0)));
      for (const std::string& line :
           {text, LinkLine(link, false), LinkLine(link, true)}) {
        Json::Value parsed;
        std::string reason;
        EXPECT_TRUE(ParseJson(line, parsed, reason)) << reason;
        EXPECT_EQ(line, JsonText(parsed));  // members in order
      }
    }
  }
}

TEST_F(LinkJsonTest, LinksInARun_LookEachAccountUpOnce) {
  const Entry link = Full();
  platform_.ForgetCalls();
  const AccountCache accounts;

  const std::string first = LinkJsonText(link, urls_, 0);

  EXPECT_EQ(LinkJsonText(link, urls_, 0), first);
  LinkLine(link, true);
  EXPECT_THAT(platform_.calls({"VEXOUserGetByUID", "VEXOGroupGetByGID"}),
              ElementsAre("VEXOUserGetByUID(5001)", "VEXOGroupGetByGID(6001)",
                          "VEXOGroupGetByGID(5999)"));
}

TEST_F(LinkJsonTest, Details_ListUnresolvedNamesAndIds) {
  Entry link = Link("aaa");
  link.set_protect_type(Entry::PROTECT_USER);
  link.set_protect_users({"alice", "zoe"});
  link.set_protect_gids({kStaff, kDeleted});

  const Json::Value json = LinkDetailsJson(link, urls_, 0)["link"];

  EXPECT_EQ(JsonText(json["unresolved_users"]), R"(["zoe"])");
  EXPECT_EQ(JsonText(json["unresolved_groups"]), R"(["5999"])");
}

TEST_F(LinkJsonTest, StoredLink_ShowsAGeneratedPasswordOnly) {
  Secret password;
  password.Generate();
  EXPECT_EQ(StoredLinkJson(Link("a"), &password, urls_)["password"], password.text());
  EXPECT_THAT(StoredLinkJson(Link("a"), nullptr, urls_).getMemberNames(),
              ElementsAre("link"));
}

TEST_F(LinkJsonTest, Counts_AreByProjectAndState) {
  Entry link = Link("a");
  link.set_use_count(3);
  Store(link);
  link = Link("b");
  link.set_enabled(false);
  link.set_use_count(4);
  Store(link);
  link = Link("c", "videos");
  link.set_start_at(2000);
  Store(link);
  platform_.Sql("UPDATE entry SET data = '{' WHERE hash = 'c'", kPath);

  std::map<std::string, LinkCounts> counts;
  ASSERT_FALSE(CountLinks(database_, 1000, counts));

  EXPECT_EQ(JsonText(LinkCountsJson(counts["photos"])),
            R"({"logins":7,"states":{"disabled":1,"expired":0,"not_started":0,)"
            R"("usable":1,"used_up":0},"total":2})");
  EXPECT_EQ(JsonText(LinkCountsJson(Sum(counts))),
            R"({"logins":7,"states":{"disabled":1,"expired":0,"not_started":1,)"
            R"("usable":1,"used_up":0},"total":3})");
  EXPECT_EQ(counts["videos"].Of(LinkState::kNotStarted), 1);
  EXPECT_EQ(LinkCounts().Of(LinkState::kUsable), 0);
}

TEST_F(LinkJsonTest, VisitorCounts_CountTheLiveOnes) {
  const Entry link = Store(Link("a"));
  for (const long timeout : {999L, 1000L, 1001L}) AddToken(link, 1, timeout);

  VisitorCounts counts;
  ASSERT_FALSE(CountVisitors(database_, "token", 1000, counts));

  EXPECT_EQ(JsonText(VisitorCountsJson(counts)), R"({"alive":1,"total":3})");
}

TEST_F(LinkJsonTest, FailedCount_IsAnError) {
  platform_.FailStatement("COUNT(*)");
  std::map<std::string, LinkCounts> links;
  VisitorCounts visitors;
  EXPECT_EQ(CountLinks(database_, 0, links).code, kDatabaseNotUsable);
  EXPECT_EQ(CountVisitors(database_, "session", 0, visitors).code, kDatabaseNotUsable);
}

TEST(LinkJson, PurgeAndUnreadable_HaveTheirMembers) {
  PurgeCounts counts;
  counts.links = 1;
  counts.sessions = 2;
  counts.tokens = 3;
  EXPECT_EQ(JsonText(PurgeJson(counts)), R"({"links":1,"sessions":2,"tokens":3})");
  EXPECT_EQ(JsonText(UnreadableJson({{4, "h"}})), R"([{"hash":"h","id":4}])");
  EXPECT_EQ(JsonText(UnreadableJson({})), "[]");
}

}  // namespace
}  // namespace admin
