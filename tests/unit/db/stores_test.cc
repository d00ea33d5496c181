// Tests of what the three stores have in common.

#include <gmock/gmock.h>

#include <string>
#include <type_traits>
#include <vector>

#include "digit_grouping.h"
#include "entry_db.h"
#include "failure_sweep.h"
#include "session_db.h"
#include "store_test.h"
#include "token_db.h"

namespace VEXO::sharing::db {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

/// A kind of store: its types, its table, and the statements of an update and of a purge.
/// Insert returns a statement that stores a row.
struct Links {
  using Store = EntryDB;
  using Record = record::Entry;
  static constexpr char kTable[] = "entry";
  static constexpr char kUpdated[] =
      "UPDATE entry SET "
      "auto_gc='1',data='.*',enabled='1',expire_at='0',expire_times='.*',"
      "hash='h5',owner_uid='1000',project_name='p',start_at='0',use_count='7' WHERE id=5";
  static constexpr char kPurge[] =
      "DELETE FROM entry WHERE auto_gc = 1 AND  \\(\\(expire_at != 0 AND expire_at < "
      "[0-9]+\\) OR \\(expire_times != 0 AND use_count >= expire_times\\)\\)";

  static std::string Insert(int id, bool purgeable) {
    const std::string number = std::to_string(id);
    return "INSERT INTO entry VALUES (" + number + ",'h" + number +
           "','p',1,1000,0,0,5," + (purgeable ? "5" : "4") +
           ",1,'{\"app\":{},\"protect_type\":\"none\"}')";
  }
  static void Change(Record& link) { link.set_use_count(7); }
  static bool IsChanged(const Record& link) { return link.get_use_count() == 7; }
};

struct Sessions {
  using Store = SessionDB;
  using Record = record::Session;
  static constexpr char kTable[] = "session";
  static constexpr char kUpdated[] =
      "UPDATE session SET ip='192.0.2.99',session_id='s5',timeout='9999999999',"
      "uid='1000' WHERE id=5";
  static constexpr char kPurge[] = "DELETE FROM session WHERE timeout < '[0-9]+'";

  static std::string Insert(int id, bool purgeable) {
    const std::string number = std::to_string(id);
    return "INSERT INTO session VALUES (" + number + ",'s" + number +
           "',1000,'192.0.2.7'," + (purgeable ? "1" : "9999999999") + ")";
  }
  static void Change(Record& session) { session.set_ip("192.0.2.99"); }
  static bool IsChanged(const Record& session) {
    return session.get_ip() == "192.0.2.99";
  }
};

struct Tokens {
  using Store = TokenDB;
  using Record = record::Token;
  static constexpr char kTable[] = "token";
  static constexpr char kUpdated[] =
      "UPDATE token SET entry_id='12',session_id='5',timeout='8888888888' WHERE id=5";
  static constexpr char kPurge[] = "DELETE FROM token WHERE timeout < '[0-9]+'";

  static std::string Insert(int id, bool purgeable) {
    const std::string number = std::to_string(id);
    return "INSERT INTO token VALUES (" + number + ",12," + number + "," +
           (purgeable ? "1" : "9999999999") + ")";
  }
  static void Change(Record& token) { token.set_timeout(8888888888); }
  static bool IsChanged(const Record& token) { return token.get_timeout() == 8888888888; }
};

template <class Kind>
class StoreTest : public StoreFixture<typename Kind::Store> {
 protected:
  static_assert(std::has_virtual_destructor_v<typename Kind::Store>);

  void Insert(int id, bool purgeable = false) {
    this->platform_.Sql(Kind::Insert(id, purgeable), kPath);
  }
  Calls Ids() { return this->Values(Kind::kTable, "id"); }
};

using Kinds = testing::Types<Links, Sessions, Tokens>;
TYPED_TEST_SUITE(StoreTest, Kinds);

TYPED_TEST(StoreTest, Update_WritesTheWholeRow) {
  this->Insert(5);
  typename TypeParam::Record record;
  ASSERT_TRUE(this->store_.GetById(5, record));
  TypeParam::Change(record);
  this->platform_.ForgetCalls();
  typename TypeParam::Record found;

  EXPECT_TRUE(this->store_.Update(record));
  EXPECT_THAT(this->Statements(), ElementsAre(MatchesRegex(TypeParam::kUpdated)));
  EXPECT_TRUE(this->store_.GetById(5, found));
  EXPECT_TRUE(TypeParam::IsChanged(found));
}

TYPED_TEST(StoreTest, Delete_ByIdOrRecord_UsesTheRowIdOnly) {
  for (const int id : {5, 6, 7}) this->Insert(id);
  typename TypeParam::Record record;
  ASSERT_TRUE(this->store_.GetById(7, record));
  record.set_id(6);
  this->platform_.ForgetCalls();
  const std::string statement = std::string("DELETE FROM ") + TypeParam::kTable;

  EXPECT_TRUE(this->store_.Delete(5));
  EXPECT_TRUE(this->store_.Delete(record));
  EXPECT_THAT(this->Statements(),
              ElementsAre(statement + " WHERE id=5", statement + " WHERE id=6"));
  EXPECT_THAT(this->Ids(), ElementsAre("7"));
}

TYPED_TEST(StoreTest, CountAndQuery_UseTheCondition) {
  this->Insert(5);
  this->Insert(6);
  int count = -1;
  std::vector<typename TypeParam::Record> found;
  this->store_.GetCondition().Where("id", "6");

  EXPECT_TRUE(this->store_.Count(count));
  EXPECT_EQ(1, count);
  EXPECT_TRUE(this->store_.Query(found));
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_EQ(6, found[0].get_id());
  EXPECT_TRUE(this->store_.GetCondition().IsEmpty());
}

TYPED_TEST(StoreTest, PurgeExpired_DrawMisses_RunsNoStatement) {
  this->Insert(5, true);
  this->platform_.Fail("VEXODBExecute");
  this->platform_.ForgetCalls();

  for (const float probability : {0.0F, -1.0F, 0.009F}) {
    this->platform_.random_numbers = {0};
    EXPECT_TRUE(this->store_.PurgeExpired(probability));
  }
  this->platform_.random_numbers = {50};
  EXPECT_TRUE(this->store_.PurgeExpired(0.5F));
  EXPECT_THAT(this->platform_.statements(), IsEmpty());
  EXPECT_THAT(this->Ids(), ElementsAre("5"));
}

TYPED_TEST(StoreTest, PurgeExpired_DrawHits_RunsTheDelete) {
  const fakes::DigitGrouping grouping;
  this->platform_.ForgetCalls();

  EXPECT_TRUE(this->store_.PurgeExpired(1.0F));
  EXPECT_TRUE(this->store_.PurgeExpired(1.5F));
  this->platform_.random_numbers = {49};
  EXPECT_TRUE(this->store_.PurgeExpired(0.5F));
  EXPECT_THAT(this->platform_.statements(), SizeIs(3));
  EXPECT_THAT(this->platform_.statements(), Each(MatchesRegex(TypeParam::kPurge)));
}

TYPED_TEST(StoreTest, PurgeExpired_StatementFails_IsFalse) {
  this->platform_.FailStatement("DELETE");

  EXPECT_FALSE(this->store_.PurgeExpired(1.0F));
}

TYPED_TEST(StoreTest, End_RunsACheckpoint) {
  { const typename TypeParam::Store store(this->db_); }

  EXPECT_EQ("PRAGMA wal_checkpoint;", this->db_.GetLastQuery());
}

template <class Kind>
class StoreSweep : public testing::Test {};

TYPED_TEST_SUITE(StoreSweep, Kinds);

TYPED_TEST(StoreSweep, PurgeExpired_AnyCallFails_DeletesNothing) {
  SweepFailures([](Failure& failure) {
    failure.platform.Sql(TypeParam::Insert(5, true) + ";" + TypeParam::Insert(6, false),
                         kPath);
    BaseDB db(kPath, 0660);
    typename TypeParam::Store store(db);
    failure.Arm();

    const bool purged = store.PurgeExpired(1.0F);
    EXPECT_EQ(IsUnseen(failure), purged);
    EXPECT_EQ(purged ? "1" : "2",
              failure.platform.Sql(
                  std::string("SELECT count(*) FROM ") + TypeParam::kTable, kPath)[0][0]);
  });
}

}  // namespace
}  // namespace VEXO::sharing::db
