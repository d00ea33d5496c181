#include "admin/link_admin.h"

#include <gmock/gmock.h>

#include <climits>
#include <ctime>
#include <functional>
#include <utility>

#include "admin_test.h"

namespace admin {
namespace {

using testing::HasSubstr;

bool g_stopped = false;

class LinkAdminTest : public AdminTest {
 protected:
  LinkAdminTest() { g_stopped = false; }

  void Refuse(const std::string& event, const std::string& table,
              const std::string& when = "1") {
    platform_.Sql("CREATE TRIGGER refuse BEFORE " + event + " ON " + table + " WHEN " +
                      when + " BEGIN SELECT RAISE(ABORT, 'refused'); END",
                  kPath);
  }
  void Allow() { platform_.Sql("DROP TRIGGER refuse", kPath); }

  /// A link with a live token and an expired one.
  Entry StoreWithTokens(const std::string& hash) {
    Entry link = Store(Link(hash));
    AddToken(link, 1, time(nullptr) + 1000);
    AddToken(link, 2, time(nullptr) - 1000);
    return link;
  }

  std::string Tokens() { return Value("SELECT COUNT(*) FROM token"); }

  /// Runs the operation on a link again and again, with another call of the platform
  /// failing each time.  It must either succeed or change nothing.
  void ExpectAllOrNothing(const std::function<Error()>& operation) {
    int errors = 0;
    for (int number = 1;; ++number) {
      platform_.Sql("DELETE FROM entry; DELETE FROM token", kPath);
      StoreWithTokens("hash");
      const fakes::Rows before = Content();
      platform_.FailCall(number);
      const Error error = operation();
      if (!platform_.injected()) break;
      EXPECT_EQ(Content() == before, static_cast<bool>(error)) << "call " << number;
      if (error) ++errors;
    }
    EXPECT_GT(errors, 2);
  }

  LinkAdmin admin_{database_, [] { return g_stopped; }};
  LinkSettings settings_;
};

TEST_F(LinkAdminTest, Find_DistinguishesMissingUnreadableAndReadable) {
  Store(Link("good"));
  const int id = Store(Link("bad")).get_id();
  platform_.Sql("UPDATE entry SET data = '{' WHERE hash = 'bad'", kPath);
  Entry link;
  bool readable = false;

  EXPECT_FALSE(admin_.Find("good", link, readable));
  EXPECT_TRUE(readable);
  EXPECT_FALSE(admin_.Find("bad", link, readable));
  EXPECT_FALSE(readable);
  EXPECT_EQ(link.get_id(), id);
  EXPECT_EQ(link.get_hash(), "bad");
  EXPECT_EQ(admin_.Find("bad", link).code, kUnreadableObject);
  for (const char* const hash : {"none", "", "GOOD", "' OR '1'='1"}) {
    EXPECT_EQ(admin_.Find(hash, link).code, kNoSuchObject) << hash;
  }
  platform_.FailStatement("SELECT * FROM entry");
  EXPECT_EQ(admin_.Find("good", link).code, kDatabaseNotUsable);
}

TEST_F(LinkAdminTest, Create_StoresUnderANewHash) {
  Entry link = Link("");
  ASSERT_FALSE(admin_.Create(link));

  EXPECT_NE(link.get_hash(), "");
  EXPECT_EQ(Value("SELECT hash FROM entry WHERE id = " + std::to_string(link.get_id())),
            link.get_hash());
}

TEST_F(LinkAdminTest, FailedCreate_StoresNothing) {
  Refuse("INSERT", "entry");
  Entry link = Link("");

  EXPECT_THAT(admin_.Create(link).message, HasSubstr("refused"));
  EXPECT_TRUE(Content().empty());
}

TEST_F(LinkAdminTest, UndoCreate_DeletesTheLink) {
  Store(Link("other"));
  Entry link = Link("");
  ASSERT_FALSE(admin_.Create(link));

  EXPECT_EQ(admin_.UndoCreate(link), "the link was deleted");
  EXPECT_EQ(Value("SELECT group_concat(hash) FROM entry"), "other");
}

TEST_F(LinkAdminTest, UndoCreateThatFails_NamesTheLink) {
  Entry link = Link("");
  ASSERT_FALSE(admin_.Create(link));
  Refuse("DELETE", "entry");

  EXPECT_THAT(admin_.UndoCreate(link), HasSubstr(link.get_hash()));
  Allow();
}

TEST_F(LinkAdminTest, Edit_ChangesTheLinkAndKeepsItsTokens) {
  StoreWithTokens("hash");
  settings_.title = "new";
  StoredLink stored;

  ASSERT_FALSE(admin_.Edit("hash", settings_, stored));

  EXPECT_EQ(stored.before.get_protect_title(), "");
  EXPECT_EQ(stored.link.get_protect_title(), "new");
  EXPECT_FALSE(stored.access_changed);
  EXPECT_EQ(stored.revoked, 0);
  EXPECT_EQ(Value("SELECT json_extract(data, '$.protect_title') FROM entry"), "new");
  EXPECT_EQ(Tokens(), "2");
}

TEST_F(LinkAdminTest, EditOfAccess_DeletesTheTokens) {
  StoreWithTokens("other");
  StoreWithTokens("hash");
  settings_.enabled = false;
  StoredLink stored;

  ASSERT_FALSE(admin_.Edit("hash", settings_, stored));

  EXPECT_TRUE(stored.access_changed);
  EXPECT_EQ(stored.revoked, 2);
  EXPECT_EQ(Tokens(), "2");
}

TEST_F(LinkAdminTest, WrongOrUnreadableLink_IsNotEdited) {
  Store(Link("hash"));
  platform_.Sql("UPDATE entry SET data = '{'", kPath);
  StoredLink stored;
  EXPECT_EQ(admin_.Edit("hash", settings_, stored).code, kUnreadableObject);
  EXPECT_EQ(admin_.Edit("none", settings_, stored).code, kNoSuchObject);
}

TEST_F(LinkAdminTest, WrongSettings_ChangeNothing) {
  StoreWithTokens("hash");
  const fakes::Rows before = Content();
  settings_.enabled = false;
  settings_.protect_type = Entry::PROTECT_PASSWORD;
  StoredLink stored;

  EXPECT_EQ(admin_.Edit("hash", settings_, stored).code, kMissingParameter);
  EXPECT_EQ(Content(), before);
}

TEST_F(LinkAdminTest, Rotate_SetsANewHashAndDeletesTheTokens) {
  Entry before = Link("old");
  before.set_expire_times(5);
  before.set_use_count(3);
  before = Store(before);
  AddToken(before, 1, time(nullptr) + 1000);
  StoredLink stored;

  ASSERT_FALSE(admin_.Rotate("old", stored));

  EXPECT_EQ(stored.before.get_hash(), "old");
  EXPECT_EQ(stored.revoked, 1);
  EXPECT_EQ(Value("SELECT group_concat(hash) FROM entry"), stored.link.get_hash());
  EXPECT_NE(stored.link.get_hash(), "old");
  Entry read;
  ASSERT_FALSE(admin_.Find(stored.link.get_hash(), read));
  EXPECT_EQ(read.get_id(), stored.link.get_id());
  auto expected = before.GetFieldMap();
  expected["hash"] = read.get_hash();
  EXPECT_EQ(read.GetFieldMap(), expected);
  EXPECT_EQ(Tokens(), "0");
}

TEST_F(LinkAdminTest, DeleteAndRevoke_AcceptUnreadableLinks) {
  StoreWithTokens("other");
  StoreWithTokens("hash");
  platform_.Sql("UPDATE entry SET data = '{' WHERE hash = 'hash'", kPath);
  long revoked = 0;

  ASSERT_FALSE(admin_.Revoke("hash", revoked));
  EXPECT_EQ(revoked, 2);
  EXPECT_EQ(Tokens(), "2");
  ASSERT_FALSE(admin_.Revoke("hash", revoked));
  EXPECT_EQ(revoked, 0);
  ASSERT_FALSE(admin_.Delete("hash", revoked));
  EXPECT_EQ(revoked, 0);
  EXPECT_EQ(admin_.Delete("hash", revoked).code, kNoSuchObject);
  EXPECT_EQ(admin_.Revoke("hash", revoked).code, kNoSuchObject);
  ASSERT_FALSE(admin_.Delete("other", revoked));
  EXPECT_EQ(revoked, 2);
  EXPECT_TRUE(Content().empty());
}

TEST_F(LinkAdminTest, Import_SkipsOrRenamesAHashThatExists) {
  Store(Link("taken"));
  std::vector<LineLink> links(2);
  links[0].link = Link("taken");
  links[1].link = Link("free");
  links[1].without_password = true;
  ImportCounts counts;
  std::vector<NewHash> renamed;

  ASSERT_FALSE(admin_.Import(links, false, counts, renamed));
  EXPECT_EQ(counts.imported, 1);
  EXPECT_EQ(counts.skipped, 1);
  EXPECT_EQ(counts.disabled, 1);
  EXPECT_TRUE(renamed.empty());
  EXPECT_EQ(Value("SELECT group_concat(hash) FROM entry"), "free,taken");

  links.pop_back();
  ASSERT_FALSE(admin_.Import(links, true, counts, renamed));
  EXPECT_EQ(counts.imported, 2);
  ASSERT_EQ(renamed.size(), 1U);
  EXPECT_EQ(renamed[0].from, "taken");
  EXPECT_EQ(Value("SELECT COUNT(*) FROM entry WHERE hash = '" + renamed[0].to + "'"),
            "1");
}

TEST_F(LinkAdminTest, FailedImport_StoresAndCountsNothing) {
  Store(Link("taken"));
  const fakes::Rows before = Content();
  std::vector<LineLink> links(2);
  links[0].link = Link("taken");
  links[1].link = Link("bad");
  Refuse("INSERT", "entry", "NEW.hash = 'bad'");
  ImportCounts counts;
  std::vector<NewHash> renamed;

  EXPECT_THAT(admin_.Import(links, true, counts, renamed).message, HasSubstr("refused"));
  EXPECT_EQ(Content(), before);
  EXPECT_EQ(counts.imported, 0);
  EXPECT_TRUE(renamed.empty());
}

TEST_F(LinkAdminTest, Transfer_ChangesTheOwnerOfEveryLink) {
  Store(Link("a"));
  Store(Link("b"));
  Entry link = Link("c");
  link.set_owner_uid(kDeleted);
  Store(link);
  platform_.Sql("UPDATE entry SET data = '{' WHERE hash = 'a'", kPath);
  long count = 0;

  ASSERT_FALSE(admin_.Transfer(kAlice, kBob, count));

  EXPECT_EQ(count, 2);
  EXPECT_EQ(Value("SELECT group_concat(owner_uid) FROM entry"), "5002,5002,5999");
  ASSERT_FALSE(admin_.Transfer(kAlice, kBob, count));
  EXPECT_EQ(count, 0);
}

TEST_F(LinkAdminTest, CountAndLiveTokens_AreThoseOfTheLink) {
  const Entry link = StoreWithTokens("a");
  StoreWithTokens("b");
  long count = 0;
  ASSERT_FALSE(admin_.CountLiveTokens(link, count));
  EXPECT_EQ(count, 1);
  LinkFilter filter;
  ASSERT_FALSE(admin_.Count(filter, count));
  EXPECT_EQ(count, 2);
  filter.owner = kBob;
  ASSERT_FALSE(admin_.Count(filter, count));
  EXPECT_EQ(count, 0);
}

class PurgeTest : public LinkAdminTest {
 protected:
  /// Expired links of both users, some of which are kept; a live one; and visitors.
  PurgeTest() {
    StoreExpired("a", kAlice, "photos", true);
    StoreExpired("b", kAlice, "photos", false);
    StoreExpired("c", kAlice, "videos", false);
    StoreExpired("d", kBob, "photos", true);
    live_ = Store(Link("live"));
    for (const long ahead : {-1000, -1000, 1000}) {
      platform_.Sql("INSERT INTO session VALUES (NULL, hex(randomblob(8)), 1, 'x', " +
                        std::to_string(time(nullptr) + ahead) + ")",
                    kPath);
    }
    AddToken(live_, 1, time(nullptr) + 1000);  // of an expired session
    AddToken(live_, 3, time(nullptr) + 1000);
    AddToken(live_, 3, time(nullptr) - 1000);  // expired itself
  }

  void StoreExpired(const std::string& hash, unsigned int owner,
                    const std::string& project, bool auto_gc) {
    Entry link = Link(hash);
    link.set_owner_uid(owner);
    link.set_project_name(project);
    link.set_auto_gc(auto_gc);
    link.set_expire_at(100);
    AddToken(Store(link), 3, time(nullptr) + 1000);
  }

  std::string Left() { return Value("SELECT group_concat(hash, '') FROM entry"); }

  void Expect(long links, long sessions, long tokens) {
    EXPECT_EQ(counts_.links, links);
    EXPECT_EQ(counts_.sessions, sessions);
    EXPECT_EQ(counts_.tokens, tokens);
  }

  Entry live_;
  PurgeScope scope_;
  PurgeCounts counts_;
};

TEST_F(PurgeTest, WithoutScope_DeletesAllThatExpiredButKeptLinks) {
  ASSERT_FALSE(admin_.Purge(scope_, counts_));

  EXPECT_EQ(Left(), "bclive");
  Expect(2, 2, 4);
  EXPECT_EQ(Tokens(), "3");
}

TEST_F(PurgeTest, LinksOnly_LeavesSessionsAndTokens) {
  scope_.sessions = scope_.tokens = false;
  ASSERT_FALSE(admin_.Purge(scope_, counts_));

  EXPECT_EQ(Left(), "bclive");
  Expect(2, 0, 2);
  EXPECT_EQ(Value("SELECT COUNT(*) FROM session"), "3");
}

TEST_F(PurgeTest, Owner_DeletesKeptLinksToo) {
  scope_.sessions = scope_.tokens = false;
  scope_.owner = kAlice;
  ASSERT_FALSE(admin_.Purge(scope_, counts_));

  EXPECT_EQ(Left(), "dlive");
  Expect(3, 0, 3);
}

TEST_F(PurgeTest, ProjectOfEveryOwner_DeletesKeptLinksToo) {
  scope_.sessions = scope_.tokens = false;
  scope_.every_owner = true;
  scope_.project = "photos";
  ASSERT_FALSE(admin_.Purge(scope_, counts_));

  EXPECT_EQ(Left(), "clive");
  Expect(3, 0, 3);
}

TEST_F(PurgeTest, ProjectWithoutOwner_IsRejected) {
  scope_.project = "photos";
  EXPECT_EQ(admin_.Purge(scope_, counts_).code, kMissingParameter);
  EXPECT_EQ(Left(), "abcdlive");
}

TEST_F(PurgeTest, SessionsAndTokens_ArePurgedByThemselves) {
  scope_.links = scope_.sessions = false;
  ASSERT_FALSE(admin_.Purge(scope_, counts_));
  Expect(0, 0, 1);
  scope_.sessions = true;
  scope_.tokens = false;
  ASSERT_FALSE(admin_.Purge(scope_, counts_));
  Expect(0, 2, 1);
  EXPECT_EQ(Left(), "abcdlive");
}

TEST_F(PurgeTest, FailureInTheMiddle_ChangesNothing) {
  const fakes::Rows before = Content();
  for (const char* const table : {"entry", "session", "token"}) {
    // The last row of the table that the purge reaches.
    Refuse("DELETE", table, std::string(table) == "token" ? "OLD.session_id = 3" : "1");
    PurgeCounts counts;
    EXPECT_THAT(admin_.Purge(scope_, counts).message, HasSubstr("refused")) << table;
    EXPECT_EQ(Content(), before) << table;
    Allow();
  }
}

TEST_F(LinkAdminTest, FailedCallOfThePlatform_ChangesNothing) {
  settings_.enabled = false;
  StoredLink stored;
  long number = 0;
  PurgeCounts counts;
  const std::pair<const char*, std::function<Error()>> operations[] = {
      {"edit", [&] { return admin_.Edit("hash", settings_, stored); }},
      {"rotate", [&] { return admin_.Rotate("hash", stored); }},
      {"revoke", [&] { return admin_.Revoke("hash", number); }},
      {"delete", [&] { return admin_.Delete("hash", number); }},
      {"transfer", [&] { return admin_.Transfer(kAlice, kBob, number); }},
      {"purge", [&] { return admin_.Purge({}, counts); }}};
  for (const auto& [name, operation] : operations) {
    SCOPED_TRACE(name);
    ExpectAllOrNothing(operation);
  }
}

TEST_F(LinkAdminTest, Stopped_ChangesNothing) {
  StoreWithTokens("hash");
  const fakes::Rows before = Content();
  settings_.enabled = false;
  StoredLink stored;
  Entry link = Link("");
  long number = 0;
  PurgeCounts counts;
  g_stopped = true;

  EXPECT_EQ(admin_.Create(link).code, kInterrupted);
  EXPECT_EQ(admin_.Edit("hash", settings_, stored).code, kInterrupted);
  EXPECT_EQ(admin_.Rotate("hash", stored).code, kInterrupted);
  EXPECT_EQ(admin_.Revoke("hash", number).code, kInterrupted);
  EXPECT_EQ(admin_.Delete("hash", number).code, kInterrupted);
  EXPECT_EQ(admin_.Transfer(kAlice, kBob, number).code, kInterrupted);
  EXPECT_EQ(admin_.Purge({}, counts).code, kInterrupted);
  EXPECT_EQ(Content(), before);
}

class UndoEditTest : public LinkAdminTest {
 protected:
  UndoEditTest() {
    Entry link = Link("link");
    link.set_use_count(3);
    Store(link);
  }

  void Edit() { ASSERT_FALSE(admin_.Edit("link", settings_, stored_)); }

  void SetUses(int uses) {
    platform_.Sql("UPDATE entry SET use_count = " + std::to_string(uses), kPath);
  }
  std::string Stored(const std::string& what) {
    return Value("SELECT " + what + " FROM entry");
  }
  std::string Title() { return Stored("json_extract(data, '$.protect_title')"); }

  const std::string kUndone = "the change was undone; tokens stay revoked";
  StoredLink stored_;
};

TEST_F(UndoEditTest, NoOtherChange_RestoresTheLink) {
  const fakes::Rows before = Content();
  settings_.title = "changed";
  Edit();
  EXPECT_NE(Content(), before);

  EXPECT_EQ(admin_.UndoEdit(stored_), kUndone);
  EXPECT_EQ(Content(), before);
}

TEST_F(UndoEditTest, UsesCountedSince_AreKept) {
  settings_.title = "changed";
  Edit();
  SetUses(5);

  EXPECT_EQ(admin_.UndoEdit(stored_), kUndone);
  EXPECT_EQ(Title(), "");
  EXPECT_EQ(Stored("use_count"), "5");
}

TEST_F(UndoEditTest, ChangeThatResetTheCount_AddsTheUsesSince) {
  settings_.expire_times = 10;  // setting a limit resets the count
  Edit();
  ASSERT_EQ(Stored("use_count"), "0");
  SetUses(2);

  EXPECT_EQ(admin_.UndoEdit(stored_), kUndone);
  EXPECT_EQ(Stored("use_count"), "5");
  EXPECT_EQ(Stored("expire_times"), "0");
}

TEST_F(UndoEditTest, UsesBeyondTheLargestNumber_StopThere) {
  settings_.expire_times = INT_MAX;
  Edit();
  SetUses(INT_MAX);

  EXPECT_EQ(admin_.UndoEdit(stored_), kUndone);
  EXPECT_EQ(Stored("use_count"), std::to_string(INT_MAX));
}

TEST_F(UndoEditTest, ChangedAgain_StaysAsItIs) {
  settings_.title = "changed";
  Edit();
  platform_.Sql("UPDATE entry SET enabled = 0", kPath);

  EXPECT_THAT(admin_.UndoEdit(stored_), HasSubstr("link could not be undone"));
  EXPECT_EQ(Title(), "changed");
  EXPECT_EQ(Stored("enabled"), "0");
}

TEST_F(UndoEditTest, DeletedLink_IsNotCreatedAgain) {
  settings_.title = "changed";
  Edit();
  platform_.Sql("DELETE FROM entry", kPath);

  EXPECT_THAT(admin_.UndoEdit(stored_), HasSubstr("could not be undone"));
  EXPECT_TRUE(Content().empty());
}

TEST_F(UndoEditTest, Stopped_UndoesAllTheSame) {
  settings_.title = "changed";
  Edit();
  g_stopped = true;

  EXPECT_EQ(admin_.UndoEdit(stored_), kUndone);
  EXPECT_EQ(Title(), "");
}

}  // namespace
}  // namespace admin
