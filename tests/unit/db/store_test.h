#pragma once

#include <gtest/gtest.h>
#include <json/value.h>
#include <unistd.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "base_db.h"
#include "entry.h"
#include "fake_platform.h"
#include "log_capture.h"

namespace VEXO::sharing::db {

const char kPath[] = "/db/sharing.db";

/// A caller that is neither root nor the system account, and may become both.
constexpr fakes::Ids kCaller = {0, 1000, 0, 2000};

using Calls = std::vector<std::string>;

/// How that caller becomes the system account, and itself again.
inline const Calls kEnter = {"setresuid(-1, 0, -1)", "setresgid(-1, 1, -1)",
                             "setresuid(-1, 1, -1)"};
inline const Calls kLeave = {"setresuid(-1, 0, -1)", "setresgid(-1, 2000, -1)",
                             "setresuid(-1, 1000, -1)"};

inline Calls Sequence(std::initializer_list<Calls> parts) {
  Calls all;
  for (const Calls& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

/// A log line that carries the process id; `site` is the source name and its number.
inline std::string LogLine(const std::string& site, const std::string& text) {
  return site + " (" + std::to_string(getpid()) + ") " + text;
}

inline record::Entry LegalEntry(const std::string& hash = "hash") {
  record::Entry entry;
  entry.set_hash(hash);
  entry.set_project_name("project");
  entry.set_owner_uid(1000);
  entry.set_app(Json::Value(Json::objectValue));
  return entry;
}

/// A text of one MiB with quotes and with bytes that are not UTF-8.
inline std::string UnusualText() {
  std::string text;
  while (text.size() < (1 << 20)) {
    text += "it's \xff\xfe \"`;--\n";
  }
  return text;
}

/// A new database with a store on it.
template <class Store>
class StoreFixture : public testing::Test {
 protected:
  /// The values of a column, by row id.
  Calls Values(const std::string& table, const std::string& column) {
    Calls values;
    for (const auto& row :
         platform_.Sql("SELECT " + column + " FROM " + table + " ORDER BY id", kPath)) {
      values.push_back(row[0]);
    }
    return values;
  }

  /// The statements since the last call.
  Calls Statements() {
    const Calls statements = platform_.statements();
    platform_.ForgetCalls();
    return statements;
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
  BaseDB db_{kPath, 0660};
  Store store_{db_};
};

}  // namespace VEXO::sharing::db
