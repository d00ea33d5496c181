#include "entry_db.h"

#include <gmock/gmock.h>

#include "base_db.h"
#include "digit_grouping.h"
#include "failure_sweep.h"
#include "fake_platform.h"
#include "legal_records.h"
#include "one_second.h"
#include "store_test.h"

namespace VEXO::sharing::db {
namespace {

using fakes::InOneSecond;
using fakes::LegalToken;
using record::Entry;
using record::Token;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

const char kAlphaNumeric[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
const char kData[] = "{\"app\":{},\"protect_type\":\"none\"}";
const char kExpired[] =
    " \\(\\(expire_at != 0 AND expire_at < [0-9]+\\) OR "
    "\\(expire_times != 0 AND use_count >= expire_times\\)\\)";

class EntryDBTest : public StoreFixture<EntryDB> {
 protected:
  /// A row of the table; `data` as it would be stored.
  void Row(int id, const std::string& hash, unsigned int owner = 1000,
           const std::string& project = "project", long expire_at = 0,
           int expire_times = 0, int use_count = 0, bool auto_gc = true,
           const std::string& data = kData) {
    platform_.Sql("INSERT INTO entry VALUES (" + std::to_string(id) + ",'" + hash +
                      "','" + project + "',1," + std::to_string(owner) + ",0," +
                      std::to_string(expire_at) + "," + std::to_string(expire_times) +
                      "," + std::to_string(use_count) + "," + (auto_gc ? "1" : "0") +
                      ",'" + data + "')",
                  kPath);
  }

  Calls Hashes() { return Values("entry", "hash"); }
};

TEST_F(EntryDBTest, Create_KeepsTheHashItHolds) {
  Entry entry = LegalEntry("own hash");

  EXPECT_TRUE(store_.Create(entry));
  EXPECT_EQ(1, entry.get_id());
  EXPECT_EQ("own hash", entry.get_hash());
  EXPECT_THAT(Hashes(), ElementsAre("own hash"));
  EXPECT_THAT(db_.GetLastQuery(),
              StartsWith("INSERT INTO entry VALUES (NULL,'own hash',"
                         "'project','1','1000','0','0','0','0','1','"));
}

TEST_F(EntryDBTest, Create_UnusualTexts_AreReadBackWhole) {
  const std::string quotes = "it's '' \"";
  Entry entry = LegalEntry(quotes);
  entry.set_project_name(UnusualText());
  Entry found;

  ASSERT_TRUE(store_.Create(entry));
  EXPECT_TRUE(store_.GetByHash(quotes, found));
  EXPECT_EQ(quotes, found.get_hash());
  EXPECT_TRUE(UnusualText() == found.get_project_name());
}

TEST_F(EntryDBTest, Update_NotLegal_IsRefused) {
  EXPECT_FALSE(store_.Update(Entry()));
  EXPECT_THAT(log_.lines(), Contains(LogLine("object_db:47", "obj invalid\n")));
}

TEST_F(EntryDBTest, CreateWithHash_DrawsNineCharactersFirst) {
  Entry entry = LegalEntry("own hash");

  EXPECT_TRUE(store_.CreateWithHash(entry));
  EXPECT_THAT(platform_.calls({"getString"}),
              ElementsAre("getString(" + std::string(kAlphaNumeric) + ", 9)"));
  EXPECT_THAT(entry.get_hash(), SizeIs(9));
  EXPECT_THAT(Hashes(), ElementsAre(entry.get_hash()));
  EXPECT_EQ(1, entry.get_id());
}

TEST_F(EntryDBTest, CreateWithHash_Collisions_EachThirdAddsACharacter) {
  Row(5, "taken1");
  Row(6, "taken2");
  Row(7, "taken3");
  Entry entry = LegalEntry();
  platform_.random_strings = {"taken1", "taken2", "free"};

  EXPECT_TRUE(store_.CreateWithHash(entry));
  EXPECT_EQ("free", entry.get_hash());
  EXPECT_EQ(8, entry.get_id());
  const std::string draw = "getString(" + std::string(kAlphaNumeric);
  EXPECT_THAT(platform_.calls({"getString"}), Each(draw + ", 9)"));
  EXPECT_THAT(platform_.calls({"getString"}), SizeIs(3));

  platform_.ForgetCalls();
  platform_.random_strings = {"taken1", "taken2", "taken3", "free2"};
  EXPECT_TRUE(store_.CreateWithHash(entry));
  EXPECT_THAT(platform_.calls({"getString"}),
              ElementsAre(draw + ", 9)", draw + ", 9)", draw + ", 9)", draw + ", 10)"));
}

TEST_F(EntryDBTest, CreateWithHash_AlwaysRefused_GivesUpAfter51Attempts) {
  Entry entry = LegalEntry("own hash");
  platform_.FailStatement("INSERT INTO entry");
  Calls lengths;
  for (int attempt = 1; attempt <= 51; ++attempt) {
    lengths.push_back("getString(" + std::string(kAlphaNumeric) + ", " +
                      std::to_string(9 + (attempt - 1) / 3) + ")");
  }

  EXPECT_FALSE(store_.CreateWithHash(entry));
  EXPECT_EQ(lengths, platform_.calls({"getString"}));
  EXPECT_THAT(lengths.back(), MatchesRegex(".*, 25\\)"));
  EXPECT_THAT(entry.get_hash(), SizeIs(25));
  EXPECT_THAT(db_.GetLastQuery(),
              StartsWith("INSERT INTO entry VALUES (NULL,'" + entry.get_hash() + "',"));
  EXPECT_EQ(0, entry.get_id());
  EXPECT_THAT(log_.lines(), SizeIs(51));
  EXPECT_THAT(log_.lines(), Each(LogLine("object_db:26", "insert failed\n")));
}

TEST_F(EntryDBTest, CreateWithHash_Attempt51Succeeds_IsStored) {
  Row(5, "taken");
  Entry entry = LegalEntry();
  platform_.random_strings.assign(50, "taken");
  platform_.random_strings.push_back("free");

  EXPECT_TRUE(store_.CreateWithHash(entry));
  EXPECT_EQ("free", entry.get_hash());
}

TEST_F(EntryDBTest, CreateWithHash_DrawFails_StoresNoEmptyHash) {
  Entry entry = LegalEntry("own hash");
  platform_.Fail("getString");
  platform_.ForgetCalls();

  EXPECT_FALSE(store_.CreateWithHash(entry));
  EXPECT_EQ("", entry.get_hash());
  EXPECT_THAT(platform_.statements(), IsEmpty());
  EXPECT_THAT(platform_.calls({"getString"}), SizeIs(51));
}

TEST_F(EntryDBTest, GetByHash_FindsTheLink) {
  Row(5, "a");
  Row(6, "b");
  Entry entry;
  platform_.ForgetCalls();

  EXPECT_TRUE(store_.GetByHash("b", entry));
  EXPECT_EQ(6, entry.get_id());
  EXPECT_THAT(Statements(), ElementsAre("SELECT * FROM entry WHERE hash = 'b'"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EntryDBTest, GetByHash_Unknown_LeavesTheRecord) {
  Entry entry = LegalEntry("before");
  entry.set_id(9);

  EXPECT_FALSE(store_.GetByHash("missing", entry));
  EXPECT_EQ(9, entry.get_id());
  EXPECT_EQ("before", entry.get_hash());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EntryDBTest, GetByHash_Quote_CannotBreakTheStatement) {
  Row(5, "a");
  Entry entry;

  EXPECT_FALSE(store_.GetByHash("x' OR '1'='1", entry));
  EXPECT_EQ("SELECT * FROM entry WHERE hash = 'x'' OR ''1''=''1'", db_.GetLastQuery());
  EXPECT_EQ(0, entry.get_id());
}

TEST_F(EntryDBTest, GetByHash_NotLegal_IsFalseWithTheRecordFilled) {
  Row(5, "a", 4294967295U);
  Entry entry;

  EXPECT_FALSE(store_.GetByHash("a", entry));
  EXPECT_EQ(5, entry.get_id());
  EXPECT_EQ("a", entry.get_hash());
}

TEST_F(EntryDBTest, DamagedData_IsFalseWithTheRowIdAndThrowsNothing) {
  const std::string deep(5000, '[');
  int id = 1;

  for (const std::string& data :
       {std::string("[]"),
        std::string("{\"app\":{},\"protect_type\":\"none\",\"protect_uids\":[\"text\"]}"),
        std::string("{\"app\":{},\"protect_type\":\"none\",\"protect_gids\":{\"a\":1}}"),
        std::string("{"), std::string(), std::string("7"), deep}) {
    Row(id, "h" + std::to_string(id), 1000, "project", 0, 0, 0, true, data);
    Entry entry;
    EXPECT_FALSE(store_.GetByHash("h" + std::to_string(id), entry)) << data;
    EXPECT_EQ(id, entry.get_id());
    EXPECT_FALSE(entry.IsLegal());
    ++id;
  }
  Row(id, "good");
  std::vector<Entry> found;
  EXPECT_TRUE(store_.Query(found));
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_EQ("good", found[0].get_hash());
}

TEST_F(EntryDBTest, GetByToken_FindsTheLinkOfTheToken) {
  Row(5, "a");
  Row(6, "b");
  Entry entry;
  platform_.ForgetCalls();

  EXPECT_TRUE(store_.GetByToken(LegalToken(6, 1), entry));
  EXPECT_EQ("b", entry.get_hash());
  EXPECT_THAT(Statements(), ElementsAre("SELECT * FROM entry WHERE id = 6"));
  EXPECT_FALSE(store_.GetByToken(Token(), entry));
  EXPECT_EQ("b", entry.get_hash());
}

TEST_F(EntryDBTest, Purges_DeleteExpiredLinksAndThoseAtTheirUseLimit) {
  std::string general;
  std::string by_owner;
  Calls after_general;
  Calls after_by_owner;
  InOneSecond([&](long now) {
    platform_.Sql("DELETE FROM entry", kPath);
    for (const bool auto_gc : {true, false}) {
      const std::string mark = auto_gc ? " gc" : "";
      const int base = auto_gc ? 0 : 100;
      const auto add = [&](int id, const std::string& name, long expire_at,
                           int expire_times, int use_count) {
        Row(base + id, name + mark, 1000, "project", expire_at, expire_times, use_count,
            auto_gc);
      };
      add(1, "no limit", 0, 0, 9);
      add(2, "second before", now - 1, 0, 0);
      add(3, "this second", now, 0, 0);
      add(4, "second after", now + 1, 0, 0);
      add(5, "uses left", 0, 5, 4);
      add(6, "uses gone", 0, 5, 5);
      add(7, "uses exceeded", 0, 5, 6);
    }
    platform_.ForgetCalls();
    store_.PurgeExpired(1.0F);
    after_general = Hashes();
    store_.PurgeExpiredByOwnerProject(1000, "project");
    after_by_owner = Hashes();
  });

  EXPECT_THAT(after_general,
              ElementsAre("no limit gc", "this second gc", "second after gc",
                          "uses left gc", "no limit", "second before", "this second",
                          "second after", "uses left", "uses gone", "uses exceeded"));
  EXPECT_THAT(after_by_owner, ElementsAre("no limit gc", "this second gc",
                                          "second after gc", "uses left gc", "no limit",
                                          "this second", "second after", "uses left"));
}

TEST_F(EntryDBTest, Purges_UseTheCurrentTime) {
  const long before = time(nullptr);

  store_.PurgeExpired(1.0F);
  const std::string query = db_.GetLastQuery();
  const long written = std::stol(query.substr(query.find("expire_at < ") + 12));
  EXPECT_LE(before, written);
  EXPECT_GE(time(nullptr), written);
}

TEST_F(EntryDBTest, DeleteByOwnerUid_DeletesLinksInAnyState) {
  Row(5, "a", 1000, "project", 0, 0, 0, false);
  Row(6, "b", 1001);
  Row(7, "c", 1000, "other");
  platform_.ForgetCalls();

  EXPECT_TRUE(store_.DeleteByOwnerUid(1000));
  EXPECT_THAT(Statements(), ElementsAre("DELETE FROM entry WHERE owner_uid = 1000"));
  EXPECT_THAT(Hashes(), ElementsAre("b"));
  EXPECT_TRUE(store_.DeleteByOwnerUid(4294967295U));
  EXPECT_THAT(Statements(),
              ElementsAre("DELETE FROM entry WHERE owner_uid = 4294967295"));
  platform_.FailStatement("DELETE");
  EXPECT_FALSE(store_.DeleteByOwnerUid(1001));
}

TEST_F(EntryDBTest, PurgeExpiredByOwnerProject_WritesTheConditionsThatAreGiven) {
  const std::string expired(kExpired);
  platform_.ForgetCalls();

  EXPECT_TRUE(store_.PurgeExpiredByOwnerProject(1000, "it's"));
  EXPECT_TRUE(store_.PurgeExpiredByOwnerProject(0, ""));
  EXPECT_TRUE(store_.PurgeExpiredByOwnerProject(4294967295U, "p"));
  EXPECT_TRUE(store_.PurgeExpiredByOwnerProject(4294967295U, ""));
  EXPECT_TRUE(store_.PurgeExpiredByOwnerProject(4294967294U, ""));
  EXPECT_THAT(
      platform_.statements(),
      ElementsAre(
          MatchesRegex("DELETE FROM entry WHERE owner_uid = 1000 AND "
                       "project_name = 'it''s' AND" +
                       expired),
          MatchesRegex("DELETE FROM entry WHERE owner_uid = 0 AND" + expired),
          MatchesRegex("DELETE FROM entry WHERE project_name = 'p' AND" + expired),
          MatchesRegex("DELETE FROM entry WHERE" + expired),
          MatchesRegex("DELETE FROM entry WHERE owner_uid = 4294967294 AND" + expired)));
  EXPECT_THAT(platform_.calls({"random"}), IsEmpty());
}

TEST_F(EntryDBTest, PurgeExpiredByOwnerProject_LeavesOtherOwnersAndProjects) {
  Row(5, "mine", 1000, "p", 1);
  Row(6, "other owner", 1001, "p", 1);
  Row(7, "other project", 1000, "q", 1);

  EXPECT_TRUE(store_.PurgeExpiredByOwnerProject(1000, "p"));
  EXPECT_THAT(Hashes(), ElementsAre("other owner", "other project"));
  EXPECT_TRUE(store_.PurgeExpiredByOwnerProject(4294967295U, ""));
  EXPECT_THAT(Hashes(), IsEmpty());
}

TEST_F(EntryDBTest, PurgeExpiredByOwnerProject_Fails_IsFalse) {
  platform_.FailStatement("DELETE");

  EXPECT_FALSE(store_.PurgeExpiredByOwnerProject(1000, "p"));
}

TEST_F(EntryDBTest, LocaleWithDigitGrouping_WritesPlainDecimals) {
  const fakes::DigitGrouping grouping;
  Row(1234567, "a");
  Entry entry;
  platform_.ForgetCalls();

  EXPECT_TRUE(store_.GetById(1234567, entry));
  EXPECT_TRUE(store_.DeleteByOwnerUid(1234567));
  EXPECT_TRUE(store_.PurgeExpired(1.0F));
  EXPECT_TRUE(store_.PurgeExpiredByOwnerProject(1234567, ""));
  EXPECT_THAT(Statements(),
              ElementsAre("SELECT * FROM entry WHERE id = 1234567",
                          "DELETE FROM entry WHERE owner_uid = 1234567",
                          MatchesRegex("DELETE FROM entry WHERE auto_gc = 1 AND " +
                                       std::string(kExpired)),
                          MatchesRegex("DELETE FROM entry WHERE owner_uid = 1234567 AND" +
                                       std::string(kExpired))));
}

/// Sweeps one operation of the store.  The table has the link 5, "a", at its use limit.
template <class Act>
void SweepStore(Act act) {
  SweepFailures([&act](Failure& failure) {
    failure.platform.Sql("INSERT INTO entry VALUES (5,'a','p',1,1000,0,0,5,5,1,'" +
                             std::string(kData) + "')",
                         kPath);
    BaseDB db(kPath, 0660);
    EntryDB store(db);
    failure.Arm();

    act(failure, store);
  });
}

std::string Rows(Failure& failure) {
  return failure.platform.Sql("SELECT count(*) FROM entry", kPath)[0][0];
}

TEST(EntryDBSweep, CreateWithHash_AnyCallFails_StoresOneLinkUnderTheHashItHolds) {
  SweepStore([](Failure& failure, EntryDB& store) {
    Entry entry = LegalEntry("own hash");

    // One failed attempt is followed by another.
    EXPECT_TRUE(store.CreateWithHash(entry));
    EXPECT_EQ("2", Rows(failure));
    if (!failure.IsOf("VEXODBEscapeStringEX2")) {
      EXPECT_EQ((fakes::Rows{{std::to_string(entry.get_id())}}),
                failure.platform.Sql(
                    "SELECT id FROM entry WHERE hash='" + entry.get_hash() + "'", kPath));
    }
  });
}

TEST(EntryDBSweep, GetByHash_AnyCallFails_LeavesTheRecord) {
  SweepStore([](Failure& failure, EntryDB& store) {
    Entry entry = LegalEntry("before");

    const bool found = store.GetByHash("a", entry);
    EXPECT_EQ(IsUnseen(failure), found);
    EXPECT_EQ(found ? "a" : "before", entry.get_hash());
    EXPECT_EQ(found ? 5 : 0, entry.get_id());
  });
}

TEST(EntryDBSweep, GetByToken_AnyCallFails_LeavesTheRecord) {
  SweepStore([](Failure& failure, EntryDB& store) {
    Entry entry = LegalEntry("before");

    const bool found = store.GetByToken(LegalToken(5, 1), entry);
    EXPECT_EQ(IsUnseen(failure), found);
    EXPECT_EQ(found ? "a" : "before", entry.get_hash());
  });
}

TEST(EntryDBSweep, DeleteByOwnerUid_AnyCallFails_DeletesNothing) {
  SweepStore([](Failure& failure, EntryDB& store) {
    const bool deleted = store.DeleteByOwnerUid(1000);
    EXPECT_EQ(IsUnseen(failure), deleted);
    EXPECT_EQ(deleted ? "0" : "1", Rows(failure));
  });
}

TEST(EntryDBSweep, PurgeExpiredByOwnerProject_AnyCallFails_DeletesNothing) {
  SweepStore([](Failure& failure, EntryDB& store) {
    const bool purged = store.PurgeExpiredByOwnerProject(1000, "p");
    // A project that could not be escaped is an empty name.
    const bool escaped = !failure.IsOf("VEXODBEscapeStringEX2");
    EXPECT_EQ(IsUnseen(failure) || !escaped, purged);
    EXPECT_EQ(purged && escaped ? "0" : "1", Rows(failure));
  });
}

}  // namespace
}  // namespace VEXO::sharing::db
