#pragma once

#include <gtest/gtest.h>

#include <string>

#include "entry.h"
#include "entry_db.h"
#include "fake_platform.h"
#include "log_capture.h"
#include "sharing_db.h"

namespace admin {

constexpr unsigned int kAlice = 5001;
constexpr unsigned int kBob = 5002;
constexpr unsigned int kStaff = 6001;
/// The id of a deleted account.
constexpr unsigned int kDeleted = 5999;

/// An empty database, two users and a group.
class AdminTest : public testing::Test {
 protected:
  AdminTest() {
    platform_.users["alice"] = {kAlice, {"staff"}, ""};
    platform_.users["bob"] = {kBob, {}, ""};
    platform_.groups["staff"] = kStaff;
  }

  /// A link without protection that can be stored.
  static VEXO::sharing::record::Entry Link(const std::string& hash) {
    VEXO::sharing::record::Entry link;
    link.set_hash(hash);
    link.set_project_name("photos");
    link.set_owner_uid(kAlice);
    link.set_app(Json::Value(Json::objectValue));
    return link;
  }

  VEXO::sharing::record::Entry Store(VEXO::sharing::record::Entry link) {
    EXPECT_TRUE(VEXO::sharing::db::EntryDB(database_).Create(link));
    return link;
  }

  /// The first column of the first row.
  std::string Value(const std::string& sql) {
    const fakes::Rows rows = platform_.Sql(sql, kPath);
    return rows.empty() ? "no row" : rows[0][0];
  }

  /// All rows of all tables.
  fakes::Rows Content() {
    fakes::Rows content;
    for (const char* const table : {"entry", "session", "token"}) {
      for (const auto& row :
           platform_.Sql(std::string("SELECT * FROM ") + table, kPath)) {
        content.push_back(row);
      }
    }
    return content;
  }

  void AddToken(const VEXO::sharing::record::Entry& link, int session, long timeout) {
    platform_.Sql("INSERT INTO token VALUES (NULL, " + std::to_string(link.get_id()) +
                      ", " + std::to_string(session) + ", " + std::to_string(timeout) +
                      ")",
                  kPath);
  }

  static constexpr char kPath[] = "/db/links.db";

  fakes::Platform platform_;
  fakes::LogCapture log_;
  VEXO::sharing::db::SharingDB database_{kPath};
};

}  // namespace admin
