// The code of docs/developers.md, as its readers would use it.  The build includes it
// before this file, so that it must compile alone.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "system_test.h"

using system_test::InChild;
using system_test::kDatabase;
using system_test::Link;
using system_test::SqlValue;

namespace {

const char kHash[] = "link";
const char kPassword[] = "open sesame";

/// Answers a request in a process of its own, as CGI does.  "STATUS PAGE", and the
/// session that the visitor has from then on.
struct Reply {
  std::string text;
  std::string session;
};

Reply Ask(const std::string& method, const std::string& password = "",
          const std::string& session = "", const std::string& hash = kHash) {
  const system_test::Answer answer = InChild(system_test::Root(), [&] {
    setenv("REMOTE_ADDR", "192.0.2.1", 1);
    setenv("REQUEST_METHOD", method.c_str(), 1);
    const Response response = Answer(ReadRequest(hash, session, password));
    return std::to_string(response.status) + " " + response.page + "\n" +
           response.headers;
  });
  const std::size_t line = answer.text.find('\n');
  std::string given = session;
  const std::string cookie = "Set-Cookie: photos=";
  const std::size_t begin = answer.text.find(cookie);
  if (begin != std::string::npos) {
    given = answer.text.substr(begin + cookie.size());
    given.resize(given.find(';'));
  }
  return {answer.text.substr(0, line), given};
}

std::string Get(const std::string& session = "", const std::string& hash = kHash) {
  return Ask("GET", "", session, hash).text;
}

Reply Post(const std::string& password, const std::string& session = "") {
  return Ask("POST", password, session);
}

const char kContent[] = "200 album 7";
const char kForm[] = "401 Password:";
const char kMissing[] = "404 This link does not exist or is not available.";
const char kTryLater[] = "503 Try again later.";

Entry Album() {
  Entry link = Link(kHash);
  Json::Value app;
  app["album"] = 7;
  link.set_app(app);
  return link;
}

void Store(Entry link) {
  const system_test::Answer answer = InChild(system_test::Root(), [&] {
    return EntryDB(SharingDB::Instance()).Create(link) ? "stored" : "refused";
  });
  ASSERT_EQ(answer.text, "stored");
}

void StorePasswordLink(const std::string& project = kProject) {
  Entry link = Album();
  link.set_project_name(project);
  link.set_protect_type(Entry::PROTECT_PASSWORD);
  link.set_protect_password(kPassword, true, Entry::ENCRYPT_ALGO_DEFAULT);
  Store(link);
}

void StoreOneUseLink() {
  Entry link = Album();
  link.set_expire_times(1);
  Store(link);
}

std::string UseCount() { return SqlValue(kDatabase, "SELECT use_count FROM entry"); }

}  // namespace

TEST(DevelopersPage, Share_StoresALinkAndGetsItsUrl) {
  const std::string tool = std::string(system_test::kToolFolder) + "/vexosharingurl";
  system_test::WriteFile(tool,
                         "#!/bin/sh\necho https://nas.example/sharing/$1; echo 2\n");
  ASSERT_EQ(chmod(tool.c_str(), 0755), 0);

  const std::string url = InChild(system_test::Root(), [] {
                            std::string shared;
                            return Share(7, "alice", kPassword, shared) ? shared : "none";
                          }).text;

  EXPECT_EQ(url, "https://nas.example/sharing/" +
                     SqlValue(kDatabase, "SELECT hash FROM entry"));
}

TEST(DevelopersPage, RightPassword_OpensTheLinkForLaterRequests) {
  StorePasswordLink();

  EXPECT_EQ(Get(), kForm);
  EXPECT_EQ(Post("guess").text, "401 The password is wrong. Password:");
  const Reply login = Post(kPassword);
  EXPECT_EQ(login.text, "303 ");
  EXPECT_EQ(Get(login.session), kContent);
  EXPECT_EQ(Get("unknown"), kForm);
}

TEST(DevelopersPage, FormWithoutPassword_IsNoFailedLogin) {
  StorePasswordLink();

  for (int i = 0; i < 10; ++i) EXPECT_EQ(Post("").text, kForm);

  EXPECT_EQ(Post(kPassword).text, "303 ");
}

TEST(DevelopersPage, LinkOfAnotherApplication_IsNotServed) {
  StorePasswordLink("text");

  EXPECT_EQ(Get(), kMissing);
  EXPECT_EQ(Post(kPassword).text, kMissing);
}

TEST(DevelopersPage, RequestsOfRobots_LeaveALimitedLinkUnused) {
  StoreOneUseLink();

  EXPECT_EQ(Get(), "401 Open the album");
  EXPECT_EQ(UseCount(), "0");
  const Reply login = Post("");
  EXPECT_EQ(login.text, "303 ");
  EXPECT_EQ(UseCount(), "1");
  EXPECT_EQ(Get(login.session), kContent);
  EXPECT_EQ(Get(), "410 This link cannot be used any more.");
}

TEST(DevelopersPage, OpenLink_IsServedWithoutALogin) {
  Store(Album());

  EXPECT_EQ(Get(), kContent);
  EXPECT_EQ(UseCount(), "0");
  SqlValue(kDatabase, "UPDATE entry SET enabled = 0");
  EXPECT_EQ(Get(), kMissing);
}

TEST(DevelopersPage, OtherMethod_IsNotAllowed) { EXPECT_EQ(Ask("DELETE").text, "405 "); }

TEST(DevelopersPage, DatabaseThatCannotBeOpened_IsNotAnsweredAsAbsent) {
  system_test::WriteFile(kDatabase, "not a database, and longer than a header is");

  EXPECT_EQ(Get(), kTryLater);
}
