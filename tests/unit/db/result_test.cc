#include "result.h"

#include <gmock/gmock.h>
#include <vexo/db.h>

#include <climits>
#include <stdexcept>
#include <type_traits>

#include "digit_grouping.h"
#include "fake_platform.h"
#include "store_test.h"

namespace VEXO::sharing::db {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::has_virtual_destructor_v<Result>);
static_assert(std::has_virtual_destructor_v<Row>);
static_assert(std::has_virtual_destructor_v<Field>);
static_assert(!std::is_copy_constructible_v<Result>);

/// A connection, for results as the platform makes them.
class ResultTest : public testing::Test {
 protected:
  ResultTest() {
    platform_.files[kPath] = {1, 1, 0660};
    connection_ = VEXODBConnect("", "", "", kPath);
    platform_.ForgetCalls();
  }
  ~ResultTest() override { VEXODBClose(connection_); }

  DBResult_tag* Query(const char* sql) {
    DBResult_tag* handle = nullptr;
    EXPECT_EQ(0, VEXODBExecute(connection_, sql, &handle));
    platform_.ForgetCalls();
    return handle;
  }

  fakes::Platform platform_;
  VEXODB* connection_;
};

TEST_F(ResultTest, Result_WithoutHandle_IsNotGoodAndFreesNothing) {
  { EXPECT_FALSE(Result().IsGood()); }

  EXPECT_THAT(platform_.calls({"VEXODBFreeResult"}), IsEmpty());
}

TEST_F(ResultTest, Result_WithHandle_IsGoodAndFreesItOnce) {
  {
    const Result result(Query("SELECT 1 AS a"));
    EXPECT_TRUE(result.IsGood());
  }

  EXPECT_THAT(platform_.calls({"VEXODBFreeResult"}),
              ElementsAre("VEXODBFreeResult(result)"));
}

TEST_F(ResultTest, SetResult_SecondHandle_ReplacesWithoutReleasing) {
  DBResult_tag* const first = Query("SELECT 1 AS a");
  Result result(first);

  result.SetResult(nullptr);
  EXPECT_FALSE(result.IsGood());
  EXPECT_THAT(platform_.calls({"VEXODBFreeResult"}), IsEmpty());
  VEXODBFreeResult(first);
}

TEST_F(ResultTest, NextRow_Rows_ReadsEachInOrderThenReturnsFalse) {
  Result result(Query("SELECT 'x' AS a UNION ALL SELECT 'y'"));
  Row row;

  ASSERT_TRUE(result.NextRow(row));
  EXPECT_TRUE(row.IsGood());
  EXPECT_EQ("x", row.GetField("a").AsString(""));
  ASSERT_TRUE(result.NextRow(row));
  EXPECT_EQ("y", row.GetField("a").AsString(""));
  EXPECT_FALSE(result.NextRow(row));
  EXPECT_TRUE(row.IsGood());
  EXPECT_EQ("y", row.GetField("a").AsString(""));
  EXPECT_FALSE(result.NextRow(row));
}

TEST_F(ResultTest, NextRow_NoRows_LeavesTheRow) {
  Result result(Query("SELECT 1 AS a WHERE 0"));
  Row row;

  EXPECT_FALSE(result.NextRow(row));
  EXPECT_FALSE(row.IsGood());
}

TEST_F(ResultTest, NextRow_WithoutHandle_CallsThePlatformAndReturnsFalse) {
  Result result;
  Row row;

  EXPECT_FALSE(result.NextRow(row));
  EXPECT_FALSE(row.IsGood());
  EXPECT_THAT(platform_.calls(), ElementsAre("VEXODBFetchRow(null)"));
}

TEST_F(ResultTest, NextRow_PlatformFails_LeavesTheRow) {
  Result result(Query("SELECT 1 AS a"));
  Row row;
  platform_.Fail("VEXODBFetchRow");

  EXPECT_FALSE(result.NextRow(row));
  EXPECT_FALSE(row.IsGood());
}

TEST_F(ResultTest, Row_Default_IsNotGoodAndItsFieldsAreEmpty) {
  const Row row;

  EXPECT_FALSE(row.IsGood());
  EXPECT_EQ("", row.GetField("a").AsString("default"));
  EXPECT_THAT(platform_.calls({"VEXODBFetchField"}), IsEmpty());
}

TEST_F(ResultTest, Row_OfAResult_ReadsItsOwnNumber) {
  DBResult_tag* const handle = Query("SELECT 'x' AS a UNION ALL SELECT 'y'");
  const Result owner(handle);

  Row row(handle, 1);
  EXPECT_EQ("y", row.GetField("a").AsString(""));
  row.SetRow(0);
  EXPECT_EQ("x", row.GetField("a").AsString(""));
  row.SetResult(nullptr);
  EXPECT_FALSE(row.IsGood());
  EXPECT_THAT(platform_.calls({"VEXODBFetchField"}),
              ElementsAre("VEXODBFetchField(1, a)", "VEXODBFetchField(0, a)"));
}

TEST_F(ResultTest, GetField_NoSuchColumnOrRow_ThrowsLogicError) {
  DBResult_tag* const handle = Query("SELECT 'x' AS a");
  const Result owner(handle);

  for (const Row& row : {Row(handle, 0), Row(handle, 1)}) {
    try {
      row.GetField("b");
      FAIL() << "nothing thrown";
    } catch (const std::logic_error& error) {
      EXPECT_STREQ("basic_string::_M_construct null not valid", error.what());
    }
  }
}

TEST_F(ResultTest, GetField_ColumnName_ComparesExactly) {
  DBResult_tag* const handle = Query("SELECT 'x' AS a");
  const Result owner(handle);

  EXPECT_THROW(Row(handle, 0).GetField("A"), std::logic_error);
}

TEST_F(ResultTest, GetField_SqlNull_IsEmpty) {
  DBResult_tag* const handle = Query("SELECT NULL AS a");
  const Result owner(handle);

  EXPECT_EQ("", Row(handle, 0).GetField("a").AsString("default"));
}

TEST(Field, AsInt_LongestPrefixOrDefault) {
  const struct {
    const char* text;
    int value;
  } cases[] = {{"", -9},
               {"42", 42},
               {" 7", 7},
               {"\t\n 7", 7},
               {"x", -9},
               {"12abc", 12},
               {"-5", -5},
               {"+5", 5},
               {"1.9", 1},
               {"0x10", 0},
               {"010", 10},
               {"1.234", 1},
               {"1,234", 1},
               {"-", -9},
               {"2147483647", INT_MAX},
               {"2147483648", -9},
               {"-2147483648", INT_MIN},
               {"-2147483649", -9},
               {"99999999999999999999", -9}};

  for (const auto& [text, value] : cases) {
    EXPECT_EQ(value, Field(text).AsInt(-9)) << text;
  }
}

TEST(Field, AsUInt_WrapsANegativeNumber) {
  EXPECT_EQ(4294967295U, Field("-1").AsUInt(0));
  EXPECT_EQ(4294967295U, Field("4294967295").AsUInt(0));
  EXPECT_EQ(7U, Field("4294967296").AsUInt(7));
  EXPECT_EQ(7U, Field("").AsUInt(7));
  EXPECT_EQ(7U, Field("x").AsUInt(7));
  EXPECT_EQ(0U, Field("0").AsUInt(7));
}

TEST(Field, AsTime_ReadsLongNumbers) {
  EXPECT_EQ(9223372036854775807L, Field("9223372036854775807").AsTime(7));
  EXPECT_EQ(7L, Field("9223372036854775808").AsTime(7));
  EXPECT_EQ(4294967296L, Field("4294967296").AsTime(7));
  EXPECT_EQ(-1L, Field("-1").AsTime(7));
  EXPECT_EQ(7L, Field("").AsTime(7));
}

TEST(Field, AsFloat_ReadsFloats) {
  EXPECT_FLOAT_EQ(1.5F, Field("1.5").AsFloat(7));
  EXPECT_FLOAT_EQ(-2e10F, Field("-2e10").AsFloat(7));
  EXPECT_FLOAT_EQ(7.0F, Field("").AsFloat(7));
  EXPECT_FLOAT_EQ(7.0F, Field("x").AsFloat(7));
  EXPECT_FLOAT_EQ(7.0F, Field("1e400").AsFloat(7));
}

TEST(Field, AsBool_IsTrueOnlyForTheTextOne) {
  EXPECT_TRUE(Field("1").AsBool(false));
  for (const char* text : {"", "0", "01", "1 ", " 1", "true", "2", "11"}) {
    EXPECT_FALSE(Field(text).AsBool(true)) << text;
  }
}

TEST(Field, AsString_IsTheTextWhateverTheDefault) {
  Field field("text");

  EXPECT_EQ("text", field.AsString("default"));
  EXPECT_EQ(&field.AsString(""), &field.AsString("default"));
  EXPECT_EQ("", Field("").AsString("default"));
}

TEST(Field, SecondNumericConversion_AfterTheEndOrAFailure_ReturnsTheDefault) {
  Field five("5");
  Field none("x");

  EXPECT_EQ(5, five.AsInt(-1));
  EXPECT_EQ(-1, five.AsInt(-1));
  EXPECT_EQ(-2L, five.AsTime(-2));
  EXPECT_EQ(-1, none.AsInt(-1));
  EXPECT_EQ(-2, none.AsInt(-2));
}

TEST(Field, SecondNumericConversion_EndNotReached_ReadsAgain) {
  Field field("12abc");

  EXPECT_EQ(12, field.AsInt(-1));
  EXPECT_EQ(12L, field.AsTime(-1));
}

TEST(Field, AsBoolAndAsString_AfterAFailedConversion_StillRead) {
  Field field("1");

  EXPECT_EQ(1, field.AsInt(-1));
  EXPECT_EQ(-1, field.AsInt(-1));
  EXPECT_TRUE(field.AsBool(false));
  EXPECT_EQ("1", field.AsString(""));
}

TEST(Field, Clear_LeavesTheErrorState) {
  Field field("5");
  field.AsInt(-1);

  field.Clear();
  EXPECT_EQ(-1, field.AsInt(-1));
}

TEST(Field, LocaleWithDigitGrouping_ChangesNoConversion) {
  const fakes::DigitGrouping grouping;

  EXPECT_EQ(1234567, Field("1234567").AsInt(-1));
  EXPECT_EQ(1, Field("1.234.567").AsInt(-1));
  EXPECT_EQ(1700000000L, Field("1700000000").AsTime(-1));
  EXPECT_FLOAT_EQ(1.5F, Field("1.5").AsFloat(7));
}

}  // namespace
}  // namespace VEXO::sharing::db
