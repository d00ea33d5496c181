#include "sharing_link.h"

#include <gtest/gtest.h>

#include <ctime>
#include <memory>
#include <string>

#include "entry_db.h"
#include "sharing_db.h"
#include "system_test.h"

using system_test::InChild;
using system_test::kDatabase;
using system_test::Link;
using system_test::Root;
using system_test::SqlValue;
using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::SharingDB;
using VEXO::sharing::record::Entry;

namespace {

struct FreeLink {
  void operator()(VexoSharingLink* link) const { VexoSharingLinkFree(link); }
};
using LinkOwner = std::unique_ptr<VexoSharingLink, FreeLink>;

std::string Store(const Entry& link) {
  return InChild(Root(),
                 [&] {
                   Entry stored = link;
                   return EntryDB(SharingDB::Instance()).Create(stored) ? "stored"
                                                                        : "refused";
                 })
      .text;
}

/// Opens the link "link" in a process of its own.  Returns the result, and what `read`
/// returns for the link.
template <class Reader>
std::string Open(Reader read) {
  return InChild(Root(),
                 [&] {
                   VexoSharingLink* opened = nullptr;
                   const int result = VexoSharingLinkOpen("link", &opened);
                   const LinkOwner link(opened);
                   return std::to_string(result) + " " +
                          (link ? read(link.get()) : std::string("null"));
                 })
      .text;
}

std::string State(const VexoSharingLink* link) {
  return std::to_string(VexoSharingLinkGetState(link));
}

TEST(SharingLink, Open_StoredLink_ItsFieldsCanBeRead) {
  Entry link = Link("link");
  link.set_project_name("photos");
  link.set_protect_type(Entry::PROTECT_PASSWORD);
  link.set_protect_password("open sesame", true, Entry::ENCRYPT_ALGO_DEFAULT);
  link.set_protect_title("Für Gäste");
  Json::Value app(Json::objectValue);
  app["album"] = "Été";
  link.set_app(app);
  ASSERT_EQ("stored", Store(link));

  EXPECT_EQ("1 photos|Für Gäste|1|{\"album\":\"Été\"}|0",
            Open([](const VexoSharingLink* opened) {
              return std::string(VexoSharingLinkGetProject(opened)) + "|" +
                     VexoSharingLinkGetTitle(opened) + "|" +
                     std::to_string(VexoSharingLinkGetProtection(opened)) + "|" +
                     VexoSharingLinkGetApp(opened) + "|" + State(opened);
            }));
}

TEST(SharingLink, State_EachReasonWhyALinkCannotBeUsed_IsReturned) {
  const long now = time(nullptr);
  Entry link = Link("link");
  ASSERT_EQ("stored", Store(link));
  const auto change = [](const std::string& columns) {
    return SqlValue(kDatabase, "UPDATE entry SET " + columns);
  };

  change("expire_times = 2, use_count = 1");
  EXPECT_EQ("1 0", Open(State));
  change("use_count = 2");
  EXPECT_EQ("1 3", Open(State));
  change("expire_at = " + std::to_string(now - 10));
  EXPECT_EQ("1 2", Open(State));
  change("start_at = " + std::to_string(now + 1000));
  EXPECT_EQ("1 1", Open(State));
  change("enabled = 0");
  EXPECT_EQ("1 4", Open(State));
}

TEST(SharingLink, Open_NoSuchLink_IsAbsent) {
  ASSERT_EQ("stored", Store(Link("other")));

  EXPECT_EQ("0 null", Open(State));
}

TEST(SharingLink, Open_DamagedRow_IsUnreadable) {
  ASSERT_EQ("stored", Store(Link("link")));
  SqlValue(kDatabase, "UPDATE entry SET data = '{'");

  EXPECT_EQ("-2 null", Open(State));
}

TEST(SharingLink, Open_DatabaseThatCannotBeOpened_IsAFailure) {
  ASSERT_EQ("stored", Store(Link("link")));
  SqlValue(kDatabase, "PRAGMA user_version = -3");

  EXPECT_EQ("-1 null", Open(State));
}

TEST(SharingLink, Open_StatementThatFails_IsAFailureAndNotAbsence) {
  ASSERT_EQ("stored", Store(Link("link")));
  SqlValue(kDatabase, "ALTER TABLE entry RENAME TO elsewhere");

  EXPECT_EQ("-1 null", Open(State));
}

TEST(SharingLink, Open_NullParameter_IsRefused) {
  VexoSharingLink* link = reinterpret_cast<VexoSharingLink*>(&link);

  EXPECT_EQ(SHARING_LINK_BAD_PARAMETER, VexoSharingLinkOpen("link", nullptr));
  EXPECT_EQ(SHARING_LINK_BAD_PARAMETER, VexoSharingLinkOpen(nullptr, &link));
  EXPECT_EQ(nullptr, link);
}

TEST(SharingLink, NullLink_HasNoTextsAndCanBeFreed) {
  EXPECT_EQ(nullptr, VexoSharingLinkGetTitle(nullptr));
  EXPECT_EQ(nullptr, VexoSharingLinkGetProject(nullptr));
  EXPECT_EQ(nullptr, VexoSharingLinkGetApp(nullptr));
  EXPECT_EQ(-1, VexoSharingLinkGetProtection(nullptr));
  EXPECT_EQ(-1, VexoSharingLinkGetState(nullptr));
  VexoSharingLinkFree(nullptr);
}

TEST(SharingLink, Open_HashThatIsSql_IsAbsent) {
  ASSERT_EQ("stored", Store(Link("link")));

  EXPECT_EQ("0", InChild(Root(), [] {
                   VexoSharingLink* link = nullptr;
                   return std::to_string(VexoSharingLinkOpen("' OR 1 = 1 --", &link));
                 }).text);
}

}  // namespace
