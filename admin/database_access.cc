#include "admin/database_access.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "admin/queries.h"
#include "admin/sqlite_connection.h"
#include "base/percent.h"
#include "base/system_account.h"
#include "keys.h"

namespace admin {

namespace {

using VEXO::base::AsSystemAccount;
using VEXO::base::kSystemGid;
using VEXO::base::kSystemUid;
using VEXO::sharing::db::SharingDB;

namespace fs = std::filesystem;

// The header of a database file (https://www.sqlite.org/fileformat2.html, 1.3).
constexpr char kMagic[] = "SQLite format 3";
constexpr int kReadVersionAt = 19;
constexpr int kUserVersionAt = 60;
constexpr int kLogVersion = 2;  // it is used with a write-ahead log

Error NotUsable(const std::string& path, const std::string& reason,
                const std::string& hint = "") {
  return {kDatabaseNotUsable, "cannot open database " + path + ": " + reason, hint};
}

bool IsOurs(const Rows& marks) {
  return !marks.empty() &&
         marks[0][0] == std::to_string(VEXO::sharing::db::kApplicationId);
}

/// Reads what marks a database: two numbers of its header, and, unless the schema is
/// damaged, how many tables and indexes it has.
Rows ReadMarks(const std::string& name, int flags) {
  const Connection connection(name, flags);
  Rows marks;
  connection.Run("PRAGMA application_id; PRAGMA user_version", &marks);
  connection.Run("SELECT COUNT(*) FROM sqlite_master", &marks);
  return marks;
}

bool SystemAccountMayWrite(const struct stat& status) {
  if (status.st_uid == kSystemUid) return (status.st_mode & S_IWUSR) != 0;
  return (status.st_mode & (status.st_gid == kSystemGid ? S_IWGRP : S_IWOTH)) != 0;
}

/// Whether opening the database in its place leaves it as it is: it is used with a
/// write-ahead log, unlike a backup, and has the current schema version.
bool IsCurrent(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  file.seekg(kReadVersionAt);
  const bool uses_log = file.get() == kLogVersion;
  file.seekg(kUserVersionAt + 3);  // its lowest byte
  return uses_log && file.get() >= kSchemaVersion;
}

/// Checks that the system account may write the database, if it exists, and its
/// directory.
Error CheckPlace(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0) {
    if (status.st_uid != kSystemUid) {
      return NotUsable(path, "not owned by the system account", "run chown 1:1 " + path);
    }
    if (!SystemAccountMayWrite(status)) {
      return NotUsable(path, "not writable by the system account",
                       "run chmod 660 " + path);
    }
  }
  std::error_code error;
  const std::string folder = fs::absolute(path, error).parent_path();
  if (stat(folder.c_str(), &status) == -1) {
    return NotUsable(path, "directory not found: " + folder);
  }
  if (!SystemAccountMayWrite(status)) {
    return NotUsable(path, "directory not writable by the system account: " + folder);
  }
  if (access(folder.c_str(), W_OK) == -1) {  // a read-only file system
    return NotUsable(path, folder + ": " + strerror(errno));
  }
  return {};
}

Error CheckContent(const std::string& path, Access access) {
  const DatabaseContent content = ContentOf(path);
  if (content == DatabaseContent::kForeign) {
    return NotUsable(path, "it belongs to another program");
  }
  if (content == DatabaseContent::kNotDatabase) {
    return NotUsable(path, "file is not a database",
                     "restore a backup with vexosharing restore");
  }
  if (content == DatabaseContent::kUnknown) {
    // Other failures, such as a missing permission, have an errno of their own.
    const bool not_regular = errno == EISDIR || errno == EINVAL;
    return NotUsable(path, not_regular ? "not a regular file" : strerror(errno));
  }
  if (content == DatabaseContent::kNothing && access != Access::kCreate) {
    return {kNoDatabase, "database not found: " + path, "the first link creates it"};
  }
  return {};
}

}  // namespace

DatabaseContent ContentOf(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == -1) {
    return errno == ENOENT ? DatabaseContent::kNothing : DatabaseContent::kUnknown;
  }
  if (!S_ISREG(status.st_mode)) {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return DatabaseContent::kUnknown;
  }
  if (status.st_size == 0) return DatabaseContent::kNothing;
  std::ifstream file(path, std::ios::binary);
  if (!file) return DatabaseContent::kUnknown;
  std::string magic(sizeof(kMagic) - 1, '\0');
  file.read(magic.data(), sizeof(kMagic) - 1);
  if (magic != kMagic) return DatabaseContent::kNotDatabase;
  // SQLite would create files next to a database that it may change.
  std::error_code error;
  const std::string absolute = fs::absolute(path, error);
  Rows marks =
      ReadMarks("file://" + VEXO::base::PercentEncode(absolute, "/") + "?immutable=1",
                SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
  const bool has_log = stat((path + "-wal").c_str(), &status) == 0 && status.st_size > 0;
  if (has_log && !IsOurs(marks)) {  // the log may have a newer header
    const PrivateCopy copy(path);
    if (copy.path().empty()) return DatabaseContent::kUnknown;
    marks = ReadMarks(copy.path(), SQLITE_OPEN_READWRITE);
    errno = EIO;
    if (marks.size() < 3) return DatabaseContent::kUnknown;
  }
  if (marks.size() < 2) return DatabaseContent::kNotDatabase;
  // The system's own database may be older than the application id.
  const std::string version = marks[1][0];
  const bool older = path == VEXO::sharing::SZF_SHARING_DB_PATH && marks[0][0] == "0" &&
                     (version == "1" || version == "2");
  if (IsOurs(marks) || older) return DatabaseContent::kLinks;
  const bool has_objects = marks.size() < 3 || marks[2][0] != "0";
  return has_objects ? DatabaseContent::kForeign : DatabaseContent::kNothing;
}

PrivateCopy::PrivateCopy(const std::string& database) {
  std::string name = "/tmp/vexosharing.XXXXXX";
  if (mkdtemp(name.data()) == nullptr) return;
  folder_ = name;
  if (Copy(database)) path_ = folder_ + "/copy.db";
}

PrivateCopy::~PrivateCopy() {
  const int reason = errno;
  std::error_code error;
  if (!folder_.empty()) fs::remove_all(folder_, error);
  errno = reason;
}

bool PrivateCopy::Copy(const std::string& database) {
  const auto give = [](const std::string& path) {
    return geteuid() != 0 || lchown(path.c_str(), kSystemUid, kSystemGid) == 0;
  };
  for (const std::string suffix : {"", "-wal", "-journal"}) {
    std::error_code error;
    const fs::path target = folder_ + "/copy.db" + suffix;
    fs::copy_file(database + suffix, target, error);
    if (error == std::errc::no_such_file_or_directory && !suffix.empty()) continue;
    if (!error) {
      fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write, error);
    }
    if (error) errno = error.value();
    if (error || !give(target)) return false;
  }
  // Last: until then the system account cannot put anything in the place of a copy.
  return give(folder_);
}

Error CheckCaller() {
  const uid_t caller = geteuid();
  if (caller != 0 && caller != kSystemUid) {
    return {kNotPermitted, "permission denied", "run this as root"};
  }
  if (!AsSystemAccount().good()) {
    return {kNotPermitted,
            std::string("cannot switch to the system account: ") + strerror(errno),
            "CAP_SETUID and CAP_SETGID are required"};
  }
  return {};
}

Error DatabaseAccess::Open(const std::string& path, Access access) {
  if (Error error = CheckCaller()) return error;
  if (Error error = CheckContent(path, access)) return error;
  path_ = path;
  Error error = CheckPlace(path);
  if (error && access != Access::kRead) return error;
  if (error || (access == Access::kRead && !IsCurrent(path))) {
    copy_ = std::make_unique<PrivateCopy>(path);
    path_ = copy_->path();
    if (path_.empty()) {
      return NotUsable(path, std::string("cannot copy it: ") + strerror(errno));
    }
  }
  database_ = std::make_unique<SharingDB>(path_);
  if (database_->IsGood()) return {};
  error = DatabaseError(*database_);
  return NotUsable(path, error.message, error.hint);
}

}  // namespace admin
