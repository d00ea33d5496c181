#pragma once

#include <memory>
#include <string>

#include "admin/error.h"
#include "sharing_db.h"

namespace admin {

/// The version that the installed schema files bring a database to.
inline constexpr int kSchemaVersion = 2;

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
  bool Copy(const std::string& database);

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

}  // namespace admin
