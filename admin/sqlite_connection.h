#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

namespace admin {

/// The rows of a query, each with its columns; NULL is an empty text.
using Rows = std::vector<std::vector<std::string>>;

/// A connection of SQLite's own, for what the library does not offer.  Functions return
/// result codes of SQLite.
class Connection {
 public:
  /// Opens an existing database.  `flags` are those of sqlite3_open_v2.  The connection
  /// waits for locks as long as the library does.
  Connection(const std::string& path, int flags) {
    sqlite3* opened = nullptr;
    code_ = sqlite3_open_v2(path.c_str(), &opened, flags, nullptr);
    connection_.reset(opened);
    if (code_ == SQLITE_OK) sqlite3_busy_timeout(opened, kPatienceMilliseconds);
  }

  sqlite3* get() const { return connection_.get(); }

  /// Runs statements.  Adds the rows that they return to `rows`.  The code of the failed
  /// opening when there is no connection.
  int Run(const std::string& sql, Rows* rows = nullptr) const {
    const auto add = [](void* out, int columns, char** values, char** /*names*/) {
      std::vector<std::string>& row = static_cast<Rows*>(out)->emplace_back();
      for (int i = 0; i < columns; ++i) row.emplace_back(values[i] ? values[i] : "");
      return 0;
    };
    if (code_ != SQLITE_OK) return code_;
    return sqlite3_exec(get(), sql.c_str(), rows ? +add : nullptr, rows, nullptr);
  }

 private:
  static constexpr int kPatienceMilliseconds = 10000;

  int code_;
  std::unique_ptr<sqlite3, decltype(&sqlite3_close_v2)> connection_{nullptr,
                                                                    sqlite3_close_v2};
};

}  // namespace admin
