#pragma once

#include <sqlite3.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "admin/error.h"
#include "sharing_db.h"

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

/// The version that the installed schema files bring a database to.
inline constexpr int kSchemaVersion = 2;

/// Owner and group read and write a database.
inline constexpr mode_t kFileMode = 0660;

/// Suffixes of the files that belong to a database; "" is the database itself.
inline constexpr const char* kDatabaseFiles[] = {"", "-wal", "-shm", "-lock"};

/// What a file holds.
enum class DatabaseContent {
  kLinks,        // a database of ours
  kNothing,      // no file, or an empty database
  kForeign,      // a database of another program
  kNotDatabase,  // a regular file that is not a database
  kUnknown,      // it cannot be read; the reason is in errno
};

/// Reads what the file holds, and changes neither it nor its directory.
DatabaseContent ContentOf(const std::string& path);

/// A copy of a database with its logs, for the system account alone, removed with all
/// that is beside it on destruction.
class PrivateCopy {
 public:
  explicit PrivateCopy(const std::string& database);
  ~PrivateCopy();
  PrivateCopy(const PrivateCopy&) = delete;
  PrivateCopy& operator=(const PrivateCopy&) = delete;

  /// Empty when it could not be made; the reason is in errno.
  const std::string& path() const { return path_; }

 private:
  std::string folder_;
  std::string path_;
};

/// Refuses every caller but root and the system account, and root when it cannot switch
/// to the system account.
Error CheckCaller();

enum class Access {
  kRead,    // any readable database, in place or as a private copy; never written
  kWrite,   // an existing one
  kCreate,  // the same, or a new one
};

/// Opens databases, and explains what prevents it.
class DatabaseAccess {
 public:
  /// Opens the database.  Refuses the callers that CheckCaller refuses.
  Error Open(const std::string& path, Access access);

  /// The database that was opened.
  VEXO::sharing::db::SharingDB& database() { return *database_; }
  /// Its path: the one given, or that of the copy.
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  std::unique_ptr<PrivateCopy> copy_;
  std::unique_ptr<VEXO::sharing::db::SharingDB> database_;
};

/// Called with the number of pages copied so far and in total; false interrupts.
using PageProgress = std::function<bool(long done, long total)>;

/// Copies the database at `from`, while others use it, into the existing file `to` as one
/// file without logs, and verifies the copy.
Error CopyDatabase(const std::string& from, const std::string& to,
                   const PageProgress& progress);

/// What a restore did.
struct Restored {
  std::string kept;  // path of the previous database; empty when there was none
  long links = 0;
};

/// Replaces the links of the database at `path` by those of the backup `file`, which is
/// checked first, and keeps the previous database in the same directory.  Sessions and
/// tokens are deleted, so that nobody keeps access that was revoked after the backup:
/// visitors log in again.  Programs that have a usable database open continue with the
/// new content.  A damaged one is replaced as a file, so no other program may have it
/// open.
Error RestoreDatabase(const std::string& file, const std::string& path,
                      const PageProgress& progress, Restored& restored);

}  // namespace admin
