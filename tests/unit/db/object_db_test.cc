#include "object_db.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "base_db.h"
#include "failure_sweep.h"
#include "fake_platform.h"
#include "legal_records.h"
#include "log_capture.h"
#include "object.h"
#include "result.h"
#include "store_test.h"

namespace VEXO::sharing::db {
namespace {

using fakes::LegalSession;
using record::Session;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::has_virtual_destructor_v<ObjectDB>);
static_assert(!std::is_copy_constructible_v<ObjectDB>);

/// A record of the table "thing", legal unless a test says otherwise.
class Thing : public record::Object {
 public:
  Calls GetFieldList() const override { return {name}; }
  std::map<std::string, std::string> GetFieldMap() const override {
    return {{"id", "99"}, {"name", name}};
  }
  bool IsLegal() const override { return legal; }
  void ToJSON(Json::Value&) const override {}
  bool FromRow(const Row& row) override {
    id = row.GetField("id").AsInt(0);
    name = row.GetField("name").AsString("");
    return legal;
  }

  bool legal = true;
  std::string name = "name";
};

class ThingDB : public ObjectDB {
 public:
  explicit ThingDB(BaseDB& db, const char* table = "thing") : ObjectDB(db, table, 1) {}

  using ObjectDB::Delete;
  bool Delete(int id) override {
    deleted.push_back(id);
    return ObjectDB::Delete(id);
  }

  std::vector<int> deleted;
};

const char kCreateTable[] = "CREATE TABLE thing (id INTEGER PRIMARY KEY, name UNIQUE)";

class ObjectDBTest : public testing::Test {
 protected:
  ObjectDBTest() {
    platform_.Sql(kCreateTable, kPath);
    platform_.ForgetCalls();
  }

  void Rows(const std::string& values) {
    platform_.Sql("INSERT INTO thing VALUES " + values, kPath);
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
  BaseDB db_{kPath, 0660};
  ThingDB store_{db_};
  Thing thing_;
};

TEST_F(ObjectDBTest, Create_StoresTheFieldsAndSetsTheRowId) {
  Rows("(41,'other')");
  platform_.ForgetCalls();

  EXPECT_TRUE(store_.Create(thing_));
  EXPECT_EQ(42, thing_.id);
  EXPECT_THAT(platform_.statements(),
              ElementsAre("INSERT INTO thing VALUES (NULL,'name')"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ObjectDBTest, Create_NotLegal_RunsNoSql) {
  thing_.legal = false;
  thing_.id = 7;
  platform_.ForgetCalls();

  EXPECT_FALSE(store_.Create(thing_));
  EXPECT_EQ(7, thing_.id);
  EXPECT_THAT(platform_.calls(), IsEmpty());
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine("object_db:21", "obj invalid\n")));
}

TEST_F(ObjectDBTest, Create_InsertFails_LeavesTheRowId) {
  Rows("(41,'name')");
  thing_.id = 7;

  EXPECT_FALSE(store_.Create(thing_));
  EXPECT_EQ(7, thing_.id);
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine("object_db:26", "insert failed\n")));
  EXPECT_EQ("UNIQUE constraint failed: thing.name", db_.GetLastError());
}

TEST_F(ObjectDBTest, Update_RewritesTheRowButNeverItsId) {
  Rows("(5,'old'),(6,'other')");
  thing_.id = 5;
  platform_.ForgetCalls();

  EXPECT_TRUE(store_.Update(thing_));
  EXPECT_THAT(platform_.statements(),
              ElementsAre("UPDATE thing SET name='name' WHERE id=5"));
  EXPECT_EQ((fakes::Rows{{"5", "name"}, {"6", "other"}}),
            platform_.Sql("SELECT * FROM thing", kPath));
}

TEST_F(ObjectDBTest, Update_NotLegal_RunsNoSql) {
  thing_.legal = false;
  platform_.ForgetCalls();

  EXPECT_FALSE(store_.Update(thing_));
  EXPECT_THAT(platform_.calls(), IsEmpty());
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine("object_db:47", "obj invalid\n")));
}

TEST_F(ObjectDBTest, Update_Fails_IsLogged) {
  platform_.FailStatement("UPDATE");

  EXPECT_FALSE(store_.Update(thing_));
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine("object_db:52", "update failed\n")));
}

TEST_F(ObjectDBTest, Update_NoSuchRow_IsTrueAndStoresNothing) {
  thing_.id = 5;

  EXPECT_TRUE(store_.Update(thing_));
  EXPECT_EQ((fakes::Rows{{"0"}}), platform_.Sql("SELECT count(*) FROM thing", kPath));
}

TEST_F(ObjectDBTest, Delete_ById_RemovesThatRow) {
  Rows("(5,'a'),(6,'b')");
  platform_.ForgetCalls();

  EXPECT_TRUE(store_.Delete(5));
  EXPECT_THAT(platform_.statements(), ElementsAre("DELETE FROM thing WHERE id=5"));
  EXPECT_EQ((fakes::Rows{{"6", "b"}}), platform_.Sql("SELECT * FROM thing", kPath));
}

TEST_F(ObjectDBTest, Delete_ByRecord_RunsTheOverride) {
  thing_.id = 5;
  ObjectDB& store = store_;

  EXPECT_TRUE(store.Delete(thing_));
  EXPECT_THAT(store_.deleted, ElementsAre(5));
  EXPECT_EQ("DELETE FROM thing WHERE id=5", db_.GetLastQuery());
}

TEST_F(ObjectDBTest, Delete_Fails_IsLogged) {
  platform_.FailStatement("DELETE");

  EXPECT_FALSE(store_.Delete(5));
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine("object_db:68", "delete failed\n")));
}

TEST_F(ObjectDBTest, GetById_FillsTheRecordAndIgnoresTheCondition) {
  Rows("(5,'a'),(6,'b')");
  store_.GetCondition().Where("name", "a");
  platform_.ForgetCalls();

  EXPECT_TRUE(store_.GetById(6, thing_));
  EXPECT_EQ(6, thing_.id);
  EXPECT_EQ("b", thing_.name);
  EXPECT_THAT(platform_.statements(), ElementsAre("SELECT * FROM thing WHERE id = 6"));
  EXPECT_EQ(" WHERE `name` = 'a'", store_.GetCondition().GetSQL());
}

TEST_F(ObjectDBTest, GetById_NoSuchRow_IsFalseUnloggedAndLeavesTheRecord) {
  EXPECT_FALSE(store_.GetById(6, thing_));
  EXPECT_EQ(0, thing_.id);
  EXPECT_EQ("name", thing_.name);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ObjectDBTest, GetById_RecordNotLegal_IsFalseWithTheRecordFilled) {
  Rows("(6,'b')");
  thing_.legal = false;

  EXPECT_FALSE(store_.GetById(6, thing_));
  EXPECT_EQ(6, thing_.id);
  EXPECT_EQ("b", thing_.name);
}

TEST_F(ObjectDBTest, GetById_StatementFails_IsFalseAndUnlogged) {
  Rows("(6,'b')");
  platform_.FailStatement("SELECT");

  EXPECT_FALSE(store_.GetById(6, thing_));
  EXPECT_EQ("name", thing_.name);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ObjectDBTest, Count_EmptyCondition_CountsEveryRow) {
  Rows("(5,'a'),(6,'b')");
  int count = -1;

  EXPECT_TRUE(store_.Count(count));
  EXPECT_EQ(2, count);
  EXPECT_EQ("SELECT COUNT(*) AS c FROM thing", db_.GetLastQuery());
}

TEST_F(ObjectDBTest, Count_WithCondition_LeavesIt) {
  Rows("(5,'a'),(6,'b')");
  store_.GetCondition().Where("name", "a");
  int count = -1;

  EXPECT_TRUE(store_.Count(count));
  EXPECT_TRUE(store_.Count(count));
  EXPECT_EQ(1, count);
  EXPECT_EQ("SELECT COUNT(*) AS c FROM thing WHERE `name` = 'a'", db_.GetLastQuery());
  EXPECT_FALSE(store_.GetCondition().IsEmpty());
}

TEST_F(ObjectDBTest, Count_StatementFailsOrNoRow_LeavesTheNumber) {
  int count = -1;
  platform_.AnswerStatement("COUNT", {"c"}, {});

  EXPECT_FALSE(store_.Count(count));
  platform_.FailStatement("COUNT");
  EXPECT_FALSE(store_.Count(count));
  EXPECT_EQ(-1, count);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ObjectDBTest, Count_ResultIsNotANumber_IsZero) {
  int count = -1;
  platform_.AnswerStatement("COUNT", {"c"}, {{"x"}});

  EXPECT_TRUE(store_.Count(count));
  EXPECT_EQ(0, count);
}

/// Queries need a record of the library.
class ObjectDBQueryTest : public testing::Test {
 protected:
  ObjectDBQueryTest() {
    platform_.Sql(
        "INSERT INTO session VALUES (1,'a',5,'192.0.2.1',9999999999),"
        "(2,'expired',5,'192.0.2.1',1000),(3,'c',5,'192.0.2.1',9999999999)",
        kPath);
  }

  Calls Ids() {
    Calls ids;
    for (const Session& session : found_) {
      ids.push_back(session.get_session_id());
    }
    return ids;
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
  BaseDB db_{kPath, 0660};
  ThingDB store_{db_, "session"};
  std::vector<Session> found_{LegalSession("before")};
};

TEST_F(ObjectDBQueryTest, Query_EmptyCondition_ReplacesTheVectorByAllReadableRecords) {
  EXPECT_TRUE(store_.Query(found_));
  EXPECT_THAT(Ids(), ElementsAre("a", "c"));
  EXPECT_EQ(3, found_.back().get_id());
  EXPECT_EQ("SELECT * FROM session", db_.GetLastQuery());
}

TEST_F(ObjectDBQueryTest, Query_WithCondition_ClearsIt) {
  store_.GetCondition().OrderBy("id", false);
  store_.GetCondition().Page(1, 2);

  EXPECT_TRUE(store_.Query(found_));
  EXPECT_THAT(Ids(), ElementsAre("c"));
  EXPECT_EQ("SELECT * FROM session ORDER BY id DESC LIMIT 2", db_.GetLastQuery());
  EXPECT_TRUE(store_.GetCondition().IsEmpty());
}

TEST_F(ObjectDBQueryTest, Query_NothingMatches_IsTrueWithAnEmptyVector) {
  store_.GetCondition().Where("session_id", "missing");

  EXPECT_TRUE(store_.Query(found_));
  EXPECT_THAT(found_, IsEmpty());
}

TEST_F(ObjectDBQueryTest, Query_ConditionThatWritesNothing_IsClearedToo) {
  store_.GetCondition().Limit(0, 0);

  EXPECT_TRUE(store_.Query(found_));
  EXPECT_EQ("SELECT * FROM session", db_.GetLastQuery());
  EXPECT_TRUE(store_.GetCondition().IsEmpty());
}

TEST_F(ObjectDBQueryTest, Query_StatementFails_LeavesTheVectorAndClearsTheCondition) {
  store_.GetCondition().Where("no_such_column", "1");

  EXPECT_FALSE(store_.Query(found_));
  EXPECT_THAT(Ids(), ElementsAre("before"));
  EXPECT_TRUE(store_.GetCondition().IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ObjectDBQueryTest, Query_OffsetWithoutLimit_IsRefusedBySql) {
  store_.GetCondition().Limit(10, 0);

  EXPECT_FALSE(store_.Query(found_));
  EXPECT_EQ("SELECT * FROM session OFFSET 10", db_.GetLastQuery());
}

TEST_F(ObjectDBTest, End_RunsACheckpoint) {
  { ThingDB store(db_); }

  EXPECT_EQ("PRAGMA wal_checkpoint;", db_.GetLastQuery());
}

TEST_F(ObjectDBTest, End_CheckpointFails_IsSilent) {
  platform_.FailStatement("wal_checkpoint");

  { ThingDB store(db_); }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

/// Place of a virtual operation in the class's table, in slots from `first`'s.
template <class First, class Other>
std::ptrdiff_t SlotsBetween(First first, Other other) {
  std::ptrdiff_t places[2] = {};
  std::memcpy(&places[0], &first, sizeof(places[0]));
  std::memcpy(&places[1], &other, sizeof(places[1]));
  return (places[1] - places[0]) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(ObjectDB, VirtualFunctions_KeepTheirOrder) {
  bool (ObjectDB::*const create)(record::Object&) = &ObjectDB::Create;
  bool (ObjectDB::*const delete_id)(int) = &ObjectDB::Delete;
  bool (ObjectDB::*const delete_record)(const record::Object&) = &ObjectDB::Delete;

  EXPECT_EQ(1, SlotsBetween(create, &ObjectDB::Update));
  EXPECT_EQ(2, SlotsBetween(create, delete_id));
  EXPECT_EQ(3, SlotsBetween(create, delete_record));
  EXPECT_EQ(4, SlotsBetween(create, &ObjectDB::GetById));
  EXPECT_EQ(5, SlotsBetween(create, &ObjectDB::Count));
}

/// Sweeps one operation of a store on the table "thing" with the row (5, 'old').
template <class Act>
void SweepStore(Act act) {
  SweepFailures([&act](Failure& failure) {
    failure.platform.Sql(kCreateTable, kPath);
    failure.platform.Sql("INSERT INTO thing VALUES (5,'old')", kPath);
    BaseDB db(kPath, 0660);
    ThingDB store(db);
    Thing thing;
    failure.Arm();

    act(failure, store, thing);
  });
}

/// Whether the result does not show the failure: the ids could not be restored, or a
/// value that could not be escaped is written as an empty text.
bool Unseen(const Failure& failure) {
  return !failure.happened() || failure.IsOfLeaving() ||
         failure.IsOf("VEXODBEscapeStringEX2") ||
         failure.Concerns("PRAGMA wal_checkpoint;");
}

TEST(ObjectDBSweep, Create_AnyCallFails_StoresNothing) {
  SweepStore([](Failure& failure, ThingDB& store, Thing& thing) {
    const bool created = store.Create(thing);
    EXPECT_EQ(Unseen(failure), created);
    EXPECT_EQ(created ? 6 : 0, thing.id);
    EXPECT_EQ((fakes::Rows{{created ? "2" : "1"}}),
              failure.platform.Sql("SELECT count(*) FROM thing", kPath));
  });
}

TEST(ObjectDBSweep, Update_AnyCallFails_ChangesNothing) {
  SweepStore([](Failure& failure, ThingDB& store, Thing& thing) {
    thing.id = 5;

    const bool updated = store.Update(thing);
    // A statement with a column name that could not be escaped is not SQL.
    const bool name_lost = failure.Logged("escape failed") && !updated;
    EXPECT_EQ(Unseen(failure) && !name_lost, updated);
    const std::string name =
        failure.platform.Sql("SELECT name FROM thing WHERE id=5", kPath)[0][0];
    EXPECT_EQ(!updated ? "old" : failure.Logged("escape failed") ? "" : "name", name);
  });
}

TEST(ObjectDBSweep, Delete_AnyCallFails_DeletesNothing) {
  SweepStore([](Failure& failure, ThingDB& store, Thing&) {
    const bool deleted = store.Delete(5);
    EXPECT_EQ(Unseen(failure), deleted);
    EXPECT_EQ((fakes::Rows{{deleted ? "0" : "1"}}),
              failure.platform.Sql("SELECT count(*) FROM thing", kPath));
  });
}

TEST(ObjectDBSweep, GetById_AnyCallFails_LeavesTheRecord) {
  SweepStore([](Failure& failure, ThingDB& store, Thing& thing) {
    const bool found = store.GetById(5, thing);
    EXPECT_EQ(Unseen(failure), found);
    EXPECT_EQ(found ? "old" : "name", thing.name);
  });
}

TEST(ObjectDBSweep, Count_AnyCallFails_LeavesTheNumber) {
  SweepStore([](Failure& failure, ThingDB& store, Thing&) {
    int count = -1;
    store.GetCondition().Where("id = 5");

    const bool counted = store.Count(count);
    EXPECT_EQ(Unseen(failure), counted);
    EXPECT_EQ(counted ? 1 : -1, count);
    EXPECT_FALSE(store.GetCondition().IsEmpty());
  });
}

TEST(ObjectDBSweep, Query_AnyCallFails_LeavesTheVector) {
  SweepFailures([](Failure& failure) {
    failure.platform.Sql("INSERT INTO session VALUES (1,'a',5,'192.0.2.1',9999999999)",
                         kPath);
    BaseDB db(kPath, 0660);
    ThingDB store(db, "session");
    store.GetCondition().Where("id > 0");
    std::vector<Session> found{LegalSession(), LegalSession()};
    failure.Arm();

    const bool queried = store.Query(found);
    // The end of the rows and a failure to read one have the same result.
    const bool cut_short = failure.IsOf("VEXODBFetchRow");
    EXPECT_EQ(Unseen(failure) || cut_short, queried);
    if (!queried) {
      EXPECT_EQ(2u, found.size());
    } else if (!cut_short) {
      EXPECT_EQ(1u, found.size());
    }
    EXPECT_TRUE(store.GetCondition().IsEmpty());
  });
}

}  // namespace
}  // namespace VEXO::sharing::db
