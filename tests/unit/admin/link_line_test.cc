#include <gmock/gmock.h>

#include <utility>

#include "admin/json_text.h"
#include "admin/link_json.h"
#include "admin_test.h"

namespace admin {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

const char kSha1[] = "0123456789abcdef0123456789abcdef01234567";
const char kMd5[] = "0123456789abcdef0123456789abcdef";

class LinkLineTest : public AdminTest {
 protected:
  LinkLineTest() {
    line_["hash"] = "aB3-._~";
    line_["project_name"] = "photos";
    line_["owner_user"] = "alice";
  }

  /// Reads line_, which must be right.
  LineLink Read() {
    LineLink link;
    const Error error = ParseLinkLine(JsonText(line_), database_, link);
    EXPECT_FALSE(error) << error.message;
    return link;
  }
  /// Reads line_ with the member set to this JSON; why it is rejected.
  std::string Rejection(const char* member, const std::string& json) {
    Json::Value line = line_;
    std::string reason;
    EXPECT_TRUE(ParseJson(json, line[member], reason)) << json;
    return RejectionOf(JsonText(line));
  }
  std::string RejectionOf(const std::string& text) {
    LineLink link;
    const Error error = ParseLinkLine(text, database_, link);
    EXPECT_EQ(error.code, error ? kBadParameter : "") << text;
    return error.message;
  }

  Entry FullLink() {
    Entry link = Link("full");
    link.set_enabled(false);
    link.set_start_at(100);
    link.set_expire_at(253402214400);
    link.set_expire_times(5);
    link.set_use_count(3);
    link.set_auto_gc(false);
    link.set_enable_match_ip(false);
    link.set_protect_type(Entry::PROTECT_PASSWORD);
    link.set_protect_password("password", true, Entry::ENCRYPT_ALGO_DEFAULT);
    link.set_protect_title("it's\n\"é\"");
    link.set_redirect_type(Entry::REDIRECT_ALWAYS);
    link.set_redirect_uri("/x?a=b");
    Json::Value app(Json::objectValue);
    app["n"].append(0.1);
    app["n"].append(Json::UInt64{18446744073709551615U});
    app["s"] = std::string("a\0b", 3);
    link.set_app(app);
    Json::Value data(Json::objectValue);
    data["k"] = "private-value";
    link.set_private_data(data);
    return link;
  }

  Json::Value line_{Json::objectValue};
};

TEST_F(LinkLineTest, LineWithSecrets_ReadsBackTheSame) {
  Entry named = Link("named");
  named.set_protect_type(Entry::PROTECT_USER);
  named.set_protect_users({"alice", "zoe"});
  named.set_protect_groups({"staff", "ghosts"});
  Entry md5 = Link("md5");
  md5.set_protect_type(Entry::PROTECT_PASSWORD);
  md5.set_protect_password("password", true, Entry::ENCRYPT_ALGO_MD5);

  for (const Entry& link : {Link("plain"), FullLink(), named, md5}) {
    const std::string text = LinkLine(link, true);
    EXPECT_THAT(text, Not(HasSubstr("\n")));
    LineLink read;
    const Error error = ParseLinkLine(text, database_, read);
    ASSERT_FALSE(error) << error.message;
    EXPECT_EQ(read.link.GetFieldMap(), link.GetFieldMap());
    EXPECT_FALSE(read.without_password);
    EXPECT_EQ(LinkLine(read.link, true), text);
  }
}

TEST_F(LinkLineTest, LineWithoutSecrets_HoldsNone) {
  const Entry link = FullLink();
  const std::string text = LinkLine(link, false);
  for (const std::string& secret :
       {link.get_protect_password(), link.get_protect_password_salt(),
        std::string("private-value")}) {
    ASSERT_NE(secret, "");
    EXPECT_THAT(text, Not(HasSubstr(secret)));
    EXPECT_THAT(LinkLine(link, true), HasSubstr(secret));
  }
}

TEST_F(LinkLineTest, ProtectedLineWithoutPassword_IsDisabled) {
  LineLink read;
  Entry link = FullLink();
  link.set_enabled(true);
  ASSERT_FALSE(ParseLinkLine(LinkLine(link, false), database_, read));

  EXPECT_TRUE(read.without_password);
  EXPECT_FALSE(read.link.get_enabled());
  EXPECT_EQ(read.link.get_protect_type(), Entry::PROTECT_PASSWORD);
  EXPECT_NE(read.link.get_protect_password(), "");
  EXPECT_FALSE(read.link.IsPasswordValid(""));
  EXPECT_FALSE(read.link.IsPasswordValid("password"));
  EXPECT_TRUE(read.link.IsLegal());
}

TEST_F(LinkLineTest, ShortestLine_HasTheDefaults) {
  const LineLink read = Read();

  Entry link = Link("aB3-._~");
  EXPECT_EQ(read.link.GetFieldMap(), link.GetFieldMap());
}

TEST_F(LinkLineTest, NamesAndIds_AreResolvedHere) {
  std::string reason;
  line_["protect_type"] = "user";
  ParseJson(R"(["alice","zoe"])", line_["protect_users"], reason);
  ParseJson("[5999]", line_["protect_uids"], reason);
  ParseJson(R"(["ghosts"])", line_["protect_groups"], reason);
  ParseJson("[5998]", line_["protect_gids"], reason);

  const Entry link = Read().link;

  EXPECT_THAT(link.get_protect_uids(), ElementsAre(kAlice, kDeleted));
  EXPECT_THAT(link.get_protect_gids(), ElementsAre(5998U));
  Json::Value line;
  ParseJson(LinkLine(link, false), line, reason);
  EXPECT_EQ(JsonText(line["protect_users"]), R"(["alice","zoe"])");
  EXPECT_EQ(JsonText(line["protect_uids"]), "[5999]");
  EXPECT_EQ(JsonText(line["protect_groups"]), R"(["ghosts"])");
  EXPECT_EQ(JsonText(line["protect_gids"]), "[5998]");
}

TEST_F(LinkLineTest, Owner_IsNamedOrNumberedWithoutName) {
  line_["owner_uid"] = 77;
  EXPECT_EQ(Read().link.get_owner_uid(), kAlice);
  line_["owner_user"] = "";
  EXPECT_EQ(Read().link.get_owner_uid(), 77U);
  line_.removeMember("owner_uid");
  EXPECT_EQ(RejectionOf(JsonText(line_)), "\"owner_user\" is required");
  EXPECT_EQ(Rejection("owner_user", "\"nobody\""),
            "\"owner_user\" names an unknown user: nobody");
}

TEST_F(LinkLineTest, HashThatCannotBePartOfAUrl_IsRejected) {
  for (const char* const hash : {"a/b", "a b", "a?b", "a#b", "a%b", "a\xc3\xa9", "a\nb",
                                 ".", "..", "a'b", "a+b"}) {
    Json::Value text(hash);
    EXPECT_EQ(Rejection("hash", JsonText(text)), "\"hash\" cannot be part of a URL");
  }
  for (const char* const hash : {"...", ".a", "-", "~"}) {
    EXPECT_EQ(Rejection("hash", JsonText(Json::Value(hash))), "");
  }
}

TEST_F(LinkLineTest, RequiredMember_MustNotBeMissingOrEmpty) {
  for (const char* const member : {"hash", "project_name"}) {
    const std::string message = std::string("\"") + member + "\" is required";
    EXPECT_EQ(Rejection(member, "\"\""), message);
    EXPECT_EQ(Rejection(member, "null"), message);
    Json::Value line = line_;
    line.removeMember(member);
    EXPECT_EQ(RejectionOf(JsonText(line)), message);
  }
}

TEST_F(LinkLineTest, UnknownMember_IsRejected) {
  EXPECT_EQ(Rejection("colour", "1"), "unknown member: \"colour\"");
  EXPECT_EQ(Rejection("id", "1"), "unknown member: \"id\"");
}

TEST_F(LinkLineTest, WrongTypes_AreRejected) {
  const std::pair<const char*, std::vector<const char*>> wrong[] = {
      {"hash", {"1", "[]", "true", R"("a\u0000b")"}},
      {"project_name", {"1", R"("a\u0000b")"}},
      {"owner_user", {"5001"}},
      {"owner_uid", {"\"1\"", "-1", "4294967295", "1.5"}},
      {"enabled", {"1", "\"true\"", "0"}},
      {"auto_gc", {"1"}},
      {"enable_match_ip", {"\"\""}},
      {"start_at", {"-1", "1.5", "\"0\"", "9223372036854775808"}},
      {"expire_at", {"-1", "true"}},
      {"expire_times", {"-1", "2147483648"}},
      {"use_count", {"-1", "2147483648", "\"1\""}},
      {"protect_type", {"\"both\"", "1", "\"\""}},
      {"protect_title", {"1", R"("a\u0000")"}},
      {"protect_users", {"\"alice\"", "[1]", "[\"a\",null]", R"(["a\u0000"])"}},
      {"protect_uids", {"[\"1\"]", "[-1]", "[4294967295]", "{}"}},
      {"redirect_type", {"\"sometimes\""}},
      {"app", {"[]", "1", "\"{}\""}},
      {"private_data", {"[]", "true"}},
      {"protect_password", {"\"plain\"", "1"}},
      {"protect_password_algo", {"\"rot13\""}}};
  for (const auto& [member, values] : wrong) {
    for (const char* const json : values) {
      EXPECT_THAT(Rejection(member, json), HasSubstr(member)) << json;
    }
  }
}

TEST_F(LinkLineTest, StoredPassword_HasTheFormOfItsAlgorithm) {
  line_["protect_type"] = "password";
  line_["protect_password"] = kSha1;
  EXPECT_EQ(RejectionOf(JsonText(line_)), "\"protect_password_salt\" is required");
  line_["protect_password_salt"] = "salt";
  EXPECT_EQ(Read().link.get_protect_password(), kSha1);
  EXPECT_THAT(Rejection("protect_password_algo", "\"md5\""),
              HasSubstr("\"protect_password\" is not"));
  line_["protect_password"] = kMd5;
  line_["protect_password_algo"] = "md5";
  EXPECT_EQ(Read().link.get_protect_password_algo(), Entry::ENCRYPT_ALGO_MD5);
}

TEST_F(LinkLineTest, Rejection_ShowsNoStoredPassword) {
  line_["protect_password"] = "SECRET-TEXT";
  EXPECT_THAT(RejectionOf(JsonText(line_)), Not(HasSubstr("SECRET")));
}

TEST_F(LinkLineTest, LinkForNobody_IsRejected) {
  EXPECT_EQ(Rejection("protect_type", "\"user\""),
            "\"protect_type\" is \"user\" without any user or group");
}

TEST_F(LinkLineTest, TextThatIsNoJsonObject_IsRejected) {
  for (const char* const text :
       {"", "[]", "{", "null", "{} {}", R"({"hash":"a","hash":"b"})"}) {
    EXPECT_NE(RejectionOf(text), "") << text;
  }
}

TEST_F(LinkLineTest, QuotesInValues_StayText) {
  line_["project_name"] = "x' OR '1'='1";
  line_["protect_title"] = "'); DROP TABLE entry; --";

  const Entry link = Read().link;

  EXPECT_EQ(link.get_project_name(), "x' OR '1'='1");
  EXPECT_EQ(link.get_protect_title(), "'); DROP TABLE entry; --");
}

TEST_F(LinkLineTest, DatabaseThatFails_IsReported) {
  platform_.FailStatement("SELECT 0 AS id");
  LineLink read;
  EXPECT_EQ(ParseLinkLine(JsonText(line_), database_, read).code, kFailed);
}

}  // namespace
}  // namespace admin
