#include <gmock/gmock.h>

#include "admin/queries.h"
#include "admin_test.h"

namespace admin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr long kNow = 1000;

class LinkFilterTest : public AdminTest {
 protected:
  using Hashes = std::vector<std::string>;

  Hashes Matches() {
    const std::string condition = filter_.Sql(database_, kNow);
    Hashes hashes;
    for (const auto& row : platform_.Sql(
             "SELECT hash FROM entry" + (condition.empty() ? "" : " WHERE " + condition) +
                 " ORDER BY id",
             kPath)) {
      hashes.push_back(row[0]);
    }
    return hashes;
  }

  Hashes Search(const std::string& text) {
    filter_.search = text;
    return Matches();
  }

  void StoreTitle(const std::string& hash, const std::string& title) {
    VEXO::sharing::record::Entry link = Link(hash);
    link.set_protect_title(title);
    Store(link);
  }

  LinkFilter filter_;
};

TEST_F(LinkFilterTest, NothingSet_MatchesEveryLink) {
  Store(Link("a"));
  EXPECT_TRUE(filter_.empty());
  EXPECT_EQ(filter_.Sql(database_, kNow), "");
  EXPECT_THAT(Matches(), ElementsAre("a"));
}

TEST_F(LinkFilterTest, ProjectOwnerAndState_AllHaveToMatch) {
  VEXO::sharing::record::Entry link = Link("a");
  Store(link);
  link.set_hash("b");
  link.set_project_name("it's");
  Store(link);
  link.set_hash("c");
  link.set_owner_uid(kBob);
  Store(link);
  link.set_hash("d");
  link.set_enabled(false);
  Store(link);

  filter_.project = "it's";
  EXPECT_THAT(Matches(), ElementsAre("b", "c", "d"));
  filter_.owner = kBob;
  EXPECT_THAT(Matches(), ElementsAre("c", "d"));
  filter_.state = "disabled";
  EXPECT_THAT(Matches(), ElementsAre("d"));
  filter_.project.clear();
  filter_.owner = kAlice;
  EXPECT_THAT(Matches(), IsEmpty());
  EXPECT_FALSE(filter_.empty());
}

TEST_F(LinkFilterTest, OwnerZero_IsAFilter) {
  Store(Link("a"));
  filter_.owner = 0;
  EXPECT_FALSE(filter_.empty());
  EXPECT_THAT(Matches(), IsEmpty());
}

TEST_F(LinkFilterTest, QuotesInValues_StayText) {
  Store(Link("a"));
  const std::string attack = "x' OR '1'='1";
  for (std::string LinkFilter::*value :
       {&LinkFilter::project, &LinkFilter::state, &LinkFilter::search}) {
    filter_ = LinkFilter();
    filter_.*value = attack;
    EXPECT_THAT(Matches(), IsEmpty());
  }
}

TEST_F(LinkFilterTest, Search_FindsPartsOfTitlePathAndNoteInAnyCase) {
  StoreTitle("title", "Summer Photos");
  VEXO::sharing::record::Entry link = Link("path");
  Json::Value app(Json::objectValue);
  app["path"] = "/volume/SUMMER";
  link.set_app(app);
  Store(link);
  link = Link("note");
  app["path"] = 5;
  app["note"] = "for summer";
  link.set_app(app);
  Store(link);
  link = Link("private");
  Json::Value data(Json::objectValue);
  data["note"] = "midsummer";
  link.set_private_data(data);
  Store(link);
  link = Link("other");
  app = Json::Value(Json::objectValue);
  app["album"] = "summer";
  link.set_app(app);
  Store(link);

  EXPECT_THAT(Search("summer"), ElementsAre("title", "path", "note", "private"));
  EXPECT_THAT(Search("MMER P"), ElementsAre("title"));
}

TEST_F(LinkFilterTest, Search_HasNoWildcards) {
  StoreTitle("percent", "100% of_it");
  StoreTitle("plain", "100 of it");

  EXPECT_THAT(Search("%"), ElementsAre("percent"));
  EXPECT_THAT(Search("f_i"), ElementsAre("percent"));
  EXPECT_THAT(Search("*"), IsEmpty());
}

TEST_F(LinkFilterTest, Search_SkipsRowsWithoutJson) {
  StoreTitle("good", "x");
  StoreTitle("damaged", "x");
  platform_.Sql("UPDATE entry SET data = '{x' WHERE hash = 'damaged'", kPath);

  EXPECT_THAT(Search("x"), ElementsAre("good"));
}

TEST_F(LinkFilterTest, Search_KeepsToTheOtherFilters) {
  StoreTitle("a", "x");
  filter_.owner = kBob;
  EXPECT_THAT(Search("x"), IsEmpty());
}

}  // namespace
}  // namespace admin
