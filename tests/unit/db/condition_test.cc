#include "condition.h"

#include <gmock/gmock.h>

#include <climits>
#include <type_traits>

#include "base_db.h"
#include "digit_grouping.h"
#include "fake_platform.h"
#include "log_capture.h"
#include "store_test.h"

namespace VEXO::sharing::db {
namespace {

static_assert(!std::has_virtual_destructor_v<Condition>);

class ConditionTest : public testing::Test {
 protected:
  fakes::Platform platform_;
  fakes::LogCapture log_;
  BaseDB db_{kPath, 0660};
  Condition condition_{db_};
};

TEST_F(ConditionTest, New_IsEmptyAndWritesNothing) {
  EXPECT_TRUE(condition_.IsEmpty());
  EXPECT_EQ("", condition_.GetSQL());
}

TEST_F(ConditionTest, AllParts_HaveTheirFixedOrder) {
  condition_.Page(2, 10);
  condition_.OrderBy("id", false);
  condition_.Where("hash", "ab");
  condition_.Where("id > 5");

  EXPECT_EQ(" WHERE `hash` = 'ab' AND id > 5 ORDER BY id DESC LIMIT 10 OFFSET 10",
            condition_.GetSQL());
  EXPECT_EQ(condition_.GetSQL(), condition_.GetSQL());
}

TEST_F(ConditionTest, Where_EmptyClauseOrColumn_AddsNothing) {
  condition_.Where("");
  condition_.Where("", "x");
  condition_.OrWhere("");
  condition_.OrWhere("", "x");

  EXPECT_TRUE(condition_.IsEmpty());
  EXPECT_EQ("", condition_.GetSQL());
}

TEST_F(ConditionTest, Where_EmptyValue_IsKept) {
  condition_.Where("a", "");
  condition_.OrWhere("b", "");

  EXPECT_FALSE(condition_.IsEmpty());
  EXPECT_EQ(" WHERE `a` = '' OR `b` = ''", condition_.GetSQL());
}

TEST_F(ConditionTest, OrWhere_Only_StartsWithWhere) {
  condition_.OrWhere("a", "1");
  condition_.OrWhere("b > 2");
  condition_.OrWhere("c", "3");

  EXPECT_EQ(" WHERE `a` = '1' OR b > 2 OR `c` = '3'", condition_.GetSQL());
}

TEST_F(ConditionTest, Terms_Mixed_AreJoinedByTheirOwnFlagWithoutParentheses) {
  condition_.OrWhere("a > 1");
  condition_.Where("b", "2");
  condition_.OrWhere("c", "3");
  condition_.Where("d > 4");

  EXPECT_EQ(" WHERE a > 1 AND `b` = '2' OR `c` = '3' AND d > 4", condition_.GetSQL());
}

TEST_F(ConditionTest, OrderBy_SeveralKeys_KeepTheirOrder) {
  condition_.OrderBy("a", true);
  condition_.OrderBy("b", false);

  EXPECT_FALSE(condition_.IsEmpty());
  EXPECT_EQ(" ORDER BY a ASC,b DESC", condition_.GetSQL());
}

TEST_F(ConditionTest, Limit_OffsetComesFirst) {
  condition_.Limit(20, 10);

  EXPECT_EQ(" LIMIT 10 OFFSET 20", condition_.GetSQL());
}

TEST_F(ConditionTest, Limit_OnlyNumbersAboveZeroAreWritten) {
  const struct {
    int offset;
    int limit;
    const char* sql;
    bool empty;
  } cases[] = {{1, 1, " LIMIT 1 OFFSET 1", false},
               {0, 1, " LIMIT 1", false},
               {-1, 1, " LIMIT 1", false},
               {10, 0, " OFFSET 10", false},
               {10, -1, " OFFSET 10", false},
               {0, 0, "", false},
               {-1, 0, "", false},
               {0, -1, "", false},
               {-2, -2, "", false},
               {-1, -1, "", true},
               {INT_MAX, INT_MAX, " LIMIT 2147483647 OFFSET 2147483647", false},
               {INT_MIN, INT_MIN, "", false}};

  for (const auto& [offset, limit, sql, empty] : cases) {
    condition_.Limit(offset, limit);
    EXPECT_EQ(sql, condition_.GetSQL()) << offset << " " << limit;
    EXPECT_EQ(empty, condition_.IsEmpty()) << offset << " " << limit;
  }
}

TEST_F(ConditionTest, Page_CountsFromOne) {
  const struct {
    int page;
    int size;
    const char* sql;
  } cases[] = {
      {1, 20, " LIMIT 20"}, {2, 20, " LIMIT 20 OFFSET 20"}, {3, 7, " LIMIT 7 OFFSET 14"},
      {0, 20, " LIMIT 20"}, {-1, 20, " LIMIT 20"},          {2, 0, ""},
      {2, -5, ""}};

  for (const auto& [page, size, sql] : cases) {
    condition_.Page(page, size);
    EXPECT_EQ(sql, condition_.GetSQL()) << page << " " << size;
  }
}

TEST_F(ConditionTest, Page_HugeNumbers_StayWithinTheirType) {
  const struct {
    int page;
    int size;
    const char* sql;
  } cases[] = {{INT_MAX, INT_MAX, " LIMIT 2147483647 OFFSET 2147483647"},
               {INT_MAX, 1, " LIMIT 1 OFFSET 2147483646"},
               {1073741824, 2, " LIMIT 2 OFFSET 2147483646"},
               {1073741825, 2, " LIMIT 2 OFFSET 2147483647"},
               {INT_MIN, INT_MAX, " LIMIT 2147483647"},
               {INT_MIN, INT_MIN, " OFFSET 2147483647"},
               {INT_MAX, INT_MIN, ""}};

  for (const auto& [page, size, sql] : cases) {
    condition_.Page(page, size);
    EXPECT_EQ(sql, condition_.GetSQL()) << page << " " << size;
  }
}

TEST_F(ConditionTest, Clear_RemovesEveryPart) {
  condition_.Where("a", "1");
  condition_.OrderBy("a", true);
  condition_.Page(2, 10);

  condition_.Clear();
  EXPECT_TRUE(condition_.IsEmpty());
  EXPECT_EQ("", condition_.GetSQL());
}

TEST_F(ConditionTest, ColumnsAndValues_AreEscaped_ClausesAreNot) {
  condition_.Where("a'b", "it's");
  condition_.Where("name = 'it''s'");
  condition_.OrderBy("c'd", true);

  EXPECT_EQ(" WHERE `a''b` = 'it''s' AND name = 'it''s' ORDER BY c''d ASC",
            condition_.GetSQL());
}

TEST_F(ConditionTest, UnusualValue_FindsItsRow) {
  const std::string rough = UnusualText();
  ASSERT_TRUE(db_.Execute("CREATE TABLE t (id INTEGER PRIMARY KEY, a TEXT)"));
  ASSERT_TRUE(db_.Insert("t", {rough}));
  ASSERT_TRUE(db_.Insert("t", {"other"}));
  condition_.Where("a", rough);

  Result result;
  Row row;
  ASSERT_TRUE(db_.Execute("SELECT * FROM t" + condition_.GetSQL(), result));
  ASSERT_TRUE(result.NextRow(row));
  EXPECT_EQ(rough, row.GetField("a").AsString(""));
  EXPECT_FALSE(result.NextRow(row));
}

TEST_F(ConditionTest, EscapeFails_WritesAnEmptyText) {
  condition_.Where("a", "b");
  platform_.Fail("VEXODBEscapeStringEX2");

  EXPECT_EQ(" WHERE `` = ''", condition_.GetSQL());
}

TEST_F(ConditionTest, LocaleWithDigitGrouping_WritesPlainDecimals) {
  const fakes::DigitGrouping grouping;
  condition_.Limit(1234567, 7654321);

  EXPECT_EQ(" LIMIT 7654321 OFFSET 1234567", condition_.GetSQL());
}

}  // namespace
}  // namespace VEXO::sharing::db
