#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>

namespace admin {

struct CloseConnection {
  void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
};
using Connection = std::unique_ptr<sqlite3, CloseConnection>;

/// A connection on a file that exists, for what the library does not offer.  `flags` are
/// those of sqlite3_open_v2.  It waits for others as long as the library does.  Null,
/// with `code`, when there is none to be had.
Connection Connect(const std::string& path, int flags, int& code);

}  // namespace admin
