#include "admin/database_access.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "admin/sqlite_connection.h"
#include "base/system_account.h"
#include "keys.h"

namespace admin {

namespace {

using VEXO::base::AsSystemAccount;
using VEXO::base::kSystemGid;
using VEXO::base::kSystemUid;
using VEXO::sharing::db::SharingDB;

namespace fs = std::filesystem;

// The header of a database file and of its first page
// (https://www.sqlite.org/fileformat2.html, 1.3 and 1.6).
constexpr char kMagic[] = "SQLite format 3";
constexpr size_t kReadVersionAt = 19;
constexpr size_t kUserVersionAt = 60;
constexpr size_t kApplicationIdAt = 68;
constexpr size_t kPageTypeAt = 100;
constexpr size_t kCellCountAt = 103;
constexpr size_t kHeaderSize = 108;
constexpr int kLogVersion = 2;  // it is used with a write-ahead log
constexpr long kLeafPage = 13;  // any other page 1 leads to further ones

Error NotUsable(const std::string& path, const std::string& reason,
                const std::string& hint = "") {
  return {kDatabaseNotUsable, "cannot open database " + path + ": " + reason, hint};
}

/// The start of a database file.
struct Header {
  std::array<unsigned char, kHeaderSize> bytes;

  /// The big-endian number of this many bytes.
  long Number(size_t at, size_t count) const {
    long value = 0;
    for (size_t i = 0; i < count; ++i) value = value * 256 + bytes.at(at + i);
    return value;
  }
};

/// False when the file is not a database.
bool ReadHeader(std::ifstream& file, Header& header) {
  file.read(reinterpret_cast<char*>(header.bytes.data()), header.bytes.size());
  return file && memcmp(header.bytes.data(), kMagic, sizeof(kMagic)) == 0;
}

/// What marks a database: two numbers of its header, and how many tables and indexes it
/// has.
struct Marks {
  long application_id;
  long version;
  long objects;
};

DatabaseContent Judge(const std::string& path, const Marks& marks) {
  // The system's own database may be older than the application id.
  const bool older = path == VEXO::sharing::SZF_SHARING_DB_PATH &&
                     marks.application_id == 0 &&
                     (marks.version == 1 || marks.version == 2);
  if (marks.application_id == VEXO::sharing::db::kApplicationId || older) {
    return DatabaseContent::kLinks;
  }
  return marks.objects == 0 ? DatabaseContent::kNothing : DatabaseContent::kForeign;
}

/// The same for a database whose log may hold a newer header: it is read from a copy,
/// since SQLite creates files next to the one it opens.
DatabaseContent ContentWithLog(const std::string& path) {
  PrivateFolder folder;
  const std::string copy = folder.Copy(path);
  if (copy.empty()) return DatabaseContent::kUnknown;
  Rows rows;
  const int code = Connection(copy, SQLITE_OPEN_READWRITE)
                       .Run(
                           "SELECT application_id, user_version, (SELECT COUNT(*) FROM "
                           "sqlite_master) FROM pragma_application_id, "
                           "pragma_user_version",
                           &rows);
  errno = EIO;
  if (code != SQLITE_OK) return DatabaseContent::kUnknown;
  const std::vector<std::string>& marks = rows.at(0);
  return Judge(path, {stol(marks[0]), stol(marks[1]), stol(marks[2])});
}

bool SystemAccountMayWrite(const struct stat& status) {
  if (status.st_uid == kSystemUid) return (status.st_mode & S_IWUSR) != 0;
  return (status.st_mode & (status.st_gid == kSystemGid ? S_IWGRP : S_IWOTH)) != 0;
}

/// Whether opening the database in its place leaves it as it is: it is used with a
/// write-ahead log, unlike a backup, and has the current schema version.
bool IsCurrent(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  Header header = {};
  return ReadHeader(file, header) && header.Number(kReadVersionAt, 1) == kLogVersion &&
         header.Number(kUserVersionAt, 4) >= kSchemaVersion;
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
  switch (ContentOf(path)) {
    case DatabaseContent::kForeign:
      return NotUsable(path, "it belongs to another program");
    case DatabaseContent::kNotDatabase:
      return NotUsable(path, "file is not a database",
                       "restore a backup with vexosharing restore");
    case DatabaseContent::kUnknown:
      // Other failures, such as a missing permission, have an errno of their own.
      return NotUsable(path, errno == EISDIR || errno == EINVAL ? "not a regular file"
                                                                : strerror(errno));
    case DatabaseContent::kNothing:
      if (access != Access::kCreate) {
        return {kNoDatabase, "database not found: " + path, "the first link creates it"};
      }
      break;
    default:
      break;
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
  Header header = {};
  if (!ReadHeader(file, header)) return DatabaseContent::kNotDatabase;
  const long application_id = header.Number(kApplicationIdAt, 4);
  const bool ours = application_id == VEXO::sharing::db::kApplicationId;
  if (!ours && stat((path + "-wal").c_str(), &status) == 0 && status.st_size > 0) {
    return ContentWithLog(path);
  }
  const bool is_leaf = header.Number(kPageTypeAt, 1) == kLeafPage;
  return Judge(path, {application_id, header.Number(kUserVersionAt, 4),
                      is_leaf ? header.Number(kCellCountAt, 2) : 1});
}

PrivateFolder::PrivateFolder() {
  std::string name = "/tmp/vexosharing.XXXXXX";
  if (mkdtemp(name.data()) == nullptr) return;
  path_ = name;
}

PrivateFolder::~PrivateFolder() {
  const int reason = errno;
  std::error_code error;
  if (!path_.empty()) fs::remove_all(path_, error);
  errno = reason;
}

std::string PrivateFolder::Copy(const std::string& database) {
  if (path_.empty()) return "";
  std::string copy = path_ + "/copy.db";
  const auto give = [](const std::string& path) {
    return geteuid() != 0 || lchown(path.c_str(), kSystemUid, kSystemGid) == 0;
  };
  for (const char* const suffix : {"", "-wal", "-journal"}) {
    std::error_code error;
    const fs::path target = copy + suffix;
    fs::copy_file(database + suffix, target, error);
    if (error == std::errc::no_such_file_or_directory && *suffix != '\0') continue;
    if (!error) {
      fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write, error);
    }
    const bool owned = !error && give(target);
    if (error) errno = error.value();
    if (!owned) return "";
  }
  // Last: until then the system account cannot put anything in the place of a copy.
  return give(path_) ? copy : "";
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
    copy_ = std::make_unique<PrivateFolder>();
    path_ = copy_->Copy(path);
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
