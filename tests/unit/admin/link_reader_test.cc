#include <gmock/gmock.h>

#include "admin/queries.h"
#include "admin_test.h"

namespace admin {
namespace {

using testing::ElementsAre;

class LinkReaderTest : public AdminTest {
 protected:
  /// Copies the one stored link until there are `count`, with the hashes h1, h2 and so
  /// on.
  void Fill(int count) {
    Store(Link("h1"));
    platform_.Sql(
        "WITH RECURSIVE n(i) AS (SELECT 2 UNION ALL SELECT i + 1 FROM n WHERE i < " +
            std::to_string(count) +
            ") INSERT INTO entry SELECT i, 'h' || i, project_name, enabled, owner_uid, "
            "0, "
            "0, 0, 0, 1, data FROM n, entry WHERE hash = 'h1'",
        kPath);
  }

  static std::vector<std::string> ReadAll(LinkReader& reader) {
    std::vector<std::string> hashes;
    Entry link;
    while (reader.Next(link)) hashes.push_back(link.get_hash());
    return hashes;
  }
};

TEST_F(LinkReaderTest, ManyLinks_AreReadOnceInOrder) {
  Fill(1201);
  LinkReader reader(database_, "", "id DESC");

  const std::vector<std::string> hashes = ReadAll(reader);

  ASSERT_EQ(hashes.size(), 1201U);
  for (int i = 0; i < 1201; ++i) EXPECT_EQ(hashes[i], "h" + std::to_string(1201 - i));
  EXPECT_TRUE(reader.good());
  EXPECT_EQ(reader.total(), 1201);
  EXPECT_EQ(reader.done(), 1201);
}

TEST_F(LinkReaderTest, ConditionAndLimit_Narrow) {
  Fill(20);
  LinkReader reader(database_, "id % 2 = 0", "id", "3 OFFSET 1");

  EXPECT_THAT(ReadAll(reader), ElementsAre("h4", "h6", "h8"));
}

TEST_F(LinkReaderTest, UnreadableRows_AreListed) {
  Fill(4);
  platform_.Sql("UPDATE entry SET data = '{' WHERE id = 2", kPath);
  LinkReader reader(database_, "", "id");

  EXPECT_THAT(ReadAll(reader), ElementsAre("h1", "h3", "h4"));
  ASSERT_EQ(reader.unreadable().size(), 1U);
  EXPECT_EQ(reader.unreadable()[0].id, 2);
  EXPECT_EQ(reader.unreadable()[0].hash, "h2");
  EXPECT_TRUE(reader.good());
}

TEST_F(LinkReaderTest, LinkDeletedMeanwhile_IsSkipped) {
  Fill(3);
  LinkReader reader(database_, "", "id");
  platform_.Sql("DELETE FROM entry WHERE id = 2", kPath);

  EXPECT_THAT(ReadAll(reader), ElementsAre("h1", "h3"));
  EXPECT_TRUE(reader.good());
}

TEST_F(LinkReaderTest, FailedStatement_EndsReading) {
  Fill(3);
  platform_.FailStatement("SELECT id FROM entry");
  LinkReader reader(database_, "", "id");

  EXPECT_TRUE(ReadAll(reader).empty());
  EXPECT_FALSE(reader.good());
}

TEST_F(LinkReaderTest, FailedSecondBatch_EndsReadingAfterTheFirst) {
  Fill(600);
  platform_.FailStatement("IN (501,");
  LinkReader reader(database_, "", "id");

  EXPECT_EQ(ReadAll(reader).size(), 500U);
  EXPECT_FALSE(reader.good());
}

}  // namespace
}  // namespace admin
