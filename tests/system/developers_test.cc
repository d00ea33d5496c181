// The code of docs/developers.md, as its readers would use it.  The build includes it
// before this file, so that it must compile alone.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "system_test.h"

using system_test::InChild;
using system_test::kDatabase;
using system_test::Link;
using system_test::SqlValue;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const char kHash[] = "link";
const char kPassword[] = "open sesame";

/// What the page answered to one request; each is a process of its own.
struct Visit {
  std::string page;
  std::string session;
  std::vector<std::string> log;
};

Visit Ask(const Request& request, const std::string& session = "") {
  const char* const pages[] = {"content", "form", "not available", "try later"};
  const system_test::Answer answer = InChild(system_test::Root(), [&] {
    setenv("REMOTE_ADDR", "192.0.2.1", 1);
    std::string cookie = session;
    const Page page = Answer(request, cookie);
    return pages[static_cast<int>(page)] + std::string(":") + cookie;
  });
  const std::size_t colon = answer.text.find(':');
  return {answer.text.substr(0, colon), answer.text.substr(colon + 1), answer.log};
}

std::string Get(const std::string& session = "", const std::string& hash = kHash) {
  return Ask({false, hash, nullptr}, session).page;
}

Visit Post(const char* password, const std::string& session = "") {
  return Ask({true, kHash, password}, session);
}

void Store(Entry link) {
  const system_test::Answer answer = InChild(system_test::Root(), [&] {
    return EntryDB(SharingDB::Instance()).Create(link) ? "stored" : "refused";
  });
  ASSERT_EQ(answer.text, "stored");
}

void StorePasswordLink(const std::string& project = kProject) {
  Entry link = Link(kHash);
  link.set_project_name(project);
  link.set_protect_type(Entry::PROTECT_PASSWORD);
  link.set_protect_password(kPassword, true, Entry::ENCRYPT_ALGO_DEFAULT);
  Store(link);
}

void StoreOneUseLink() {
  Entry link = Link(kHash);
  link.set_expire_times(1);
  Store(link);
}

std::string UseCount() { return SqlValue(kDatabase, "SELECT use_count FROM entry"); }

/// A session that has logged in to the link, whatever application it belongs to.
std::string LoggedIn() {
  return InChild(system_test::Root(),
                 [] {
                   setenv("REMOTE_ADDR", "192.0.2.1", 1);
                   _tag_sharing_login_params visitor = {};
                   visitor.hash = kHash;
                   visitor.password = kPassword;
                   std::string session;
                   VEXO::VexoSharingLogin(session, &visitor, false);
                   return session;
                 })
      .text;
}

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

  EXPECT_EQ(Get(), "form");
  const Visit guess = Post("guess");
  EXPECT_EQ(guess.page, "form");
  EXPECT_THAT(guess.log, Contains(HasSubstr("photos: login: -9 wrong password")));
  const Visit login = Post(kPassword);
  EXPECT_EQ(login.page, "content");
  EXPECT_EQ(Get(login.session), "content");
  const Visit unknown = Ask({false, kHash, nullptr}, "no such session");
  EXPECT_EQ(unknown.page, "form");
  EXPECT_THAT(unknown.log, Contains(HasSubstr("photos: check: -5 no such session")));
}

TEST(DevelopersPage, FormWithoutPassword_IsNoFailedLogin) {
  StorePasswordLink();

  for (int i = 0; i < 10; ++i) EXPECT_EQ(Post(nullptr).page, "form");

  EXPECT_EQ(Post(kPassword).page, "content");
}

TEST(DevelopersPage, LinkOfAnotherApplication_IsNotServed) {
  StorePasswordLink("text");
  const std::string session = LoggedIn();
  ASSERT_FALSE(session.empty());

  EXPECT_EQ(Get(session), "not available");
  EXPECT_EQ(Post(kPassword).page, "not available");
}

TEST(DevelopersPage, RequestsOfRobots_LeaveALimitedLinkUnused) {
  StoreOneUseLink();

  EXPECT_EQ(Get(), "form");
  EXPECT_EQ(Get(), "form");
  EXPECT_EQ(UseCount(), "0");

  const Visit login = Post(nullptr);
  EXPECT_EQ(login.page, "content");
  EXPECT_EQ(UseCount(), "1");
  EXPECT_EQ(Get(login.session), "content");
  EXPECT_EQ(Get(), "not available");
  EXPECT_EQ(Post(nullptr).page, "not available");
}

TEST(DevelopersPage, OpenLink_IsServedWithoutALogin) {
  Store(Link(kHash));

  EXPECT_EQ(Get(), "content");
  EXPECT_EQ(UseCount(), "0");
  SqlValue(kDatabase, "UPDATE entry SET enabled = 0");
  EXPECT_EQ(Get(), "not available");
}

TEST(DevelopersPage, UnknownLink_IsNotAvailable) {
  const Visit visit = Ask({false, "unknown", nullptr});

  EXPECT_EQ(visit.page, "not available");
  EXPECT_THAT(visit.log, IsEmpty());
}

TEST(DevelopersPage, UnreadableLink_IsNotAvailable) {
  Store(Link(kHash));
  SqlValue(kDatabase, "UPDATE entry SET data = '{'");

  EXPECT_EQ(Get(), "not available");
}

TEST(DevelopersPage, FailedLookup_IsNotAnsweredAsAbsent) {
  StorePasswordLink();
  SqlValue(kDatabase, "ALTER TABLE entry RENAME TO elsewhere");

  const Visit visit = Post(kPassword);

  EXPECT_EQ(visit.page, "try later");
  EXPECT_THAT(visit.log, Contains(HasSubstr("no such table: entry")));
}

TEST(DevelopersPage, FailedLookupInsideTheLogin_IsNotAnsweredAsAbsent) {
  StorePasswordLink();

  const system_test::Answer answer = InChild(system_test::Root(), [] {
    setenv("REMOTE_ADDR", "192.0.2.1", 1);
    SharingDB::Instance();
    SqlValue(kDatabase, "ALTER TABLE entry RENAME TO elsewhere");
    std::string session;
    const Page page = LogIn({true, kHash, kPassword}, session);
    return page == Page::kTryLater ? "try later" : "another page";
  });

  EXPECT_EQ(answer.text, "try later");
}

TEST(DevelopersPage, DatabaseThatCannotBeOpened_IsNotAnsweredAsAbsent) {
  system_test::WriteFile(kDatabase, "not a database, and longer than a header is");

  EXPECT_EQ(Get(), "try later");
}
