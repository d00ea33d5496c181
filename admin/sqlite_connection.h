#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>

namespace admin {

struct CloseConnection {
  void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
};
using Connection = std::unique_ptr<sqlite3, CloseConnection>;

/// Opens an existing database, for what the library does not offer.  `flags` are those of
/// sqlite3_open_v2.  The connection waits for locks as long as the library does.  Null,
/// with SQLite's result in `code`, on failure.
Connection Connect(const std::string& path, int flags, int& code);

}  // namespace admin
