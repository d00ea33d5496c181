#include "admin/sqlite_connection.h"

namespace admin {

namespace {

constexpr int kPatienceMilliseconds = 10000;

}  // namespace

Connection Connect(const std::string& path, int flags, int& code) {
  sqlite3* opened = nullptr;
  code = sqlite3_open_v2(path.c_str(), &opened, flags, nullptr);
  Connection connection(opened);
  if (code != SQLITE_OK) return nullptr;
  sqlite3_busy_timeout(opened, kPatienceMilliseconds);
  return connection;
}

}  // namespace admin
