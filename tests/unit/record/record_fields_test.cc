#include "record/record_fields.h"

#include <gmock/gmock.h>

#include "stored_row.h"

namespace VEXO::sharing::record {
namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(ReadField, Column_IsItsText) {
  fakes::Platform platform;
  const StoredRow stored(platform, {{"hash", "abc"}, {"id", "7"}});

  EXPECT_EQ("abc", ReadField(stored.row(), "hash").AsString(""));
  EXPECT_EQ(7, ReadField(stored.row(), "id").AsInt(0));
}

TEST(ReadField, MissingColumn_GivesTheReadersDefault) {
  fakes::Platform platform;
  const StoredRow stored(platform, {{"id", "7"}});

  EXPECT_EQ(-3, ReadField(stored.row(), "ID").AsInt(-3));
  EXPECT_EQ("", ReadField(stored.row(), "hash").AsString("default"));
}

TEST(ReadField, RowOfNoResult_GivesTheReadersDefault) {
  EXPECT_EQ(5, ReadField(db::Row(), "id").AsInt(5));
}

TEST(PairFields, NamesAndValues_ArePairedByPosition) {
  EXPECT_THAT(PairFields({"b", "a"}, {"first", "second"}),
              ElementsAre(Pair("a", "second"), Pair("b", "first")));
}

}  // namespace
}  // namespace VEXO::sharing::record
