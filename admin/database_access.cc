#include "admin/database_access.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "admin/queries.h"
#include "base/atomic_file.h"
#include "base/percent.h"
#include "base/system_account.h"
#include "keys.h"

namespace admin {

namespace {

using VEXO::base::AsSystemAccount;
using VEXO::base::AtomicFile;
using VEXO::base::kSystemGid;
using VEXO::base::kSystemUid;
using VEXO::sharing::SZF_SHARING_DB_PATH;
using VEXO::sharing::db::SharingDB;

namespace fs = std::filesystem;

// The header of a database file (https://www.sqlite.org/fileformat2.html, 1.3).
constexpr char kMagic[] = "SQLite format 3";
constexpr int kReadVersionAt = 19;
constexpr int kUserVersionAt = 60;
constexpr int kApplicationIdAt = 68;
constexpr int kLogVersion = 2;  // it is used with a write-ahead log

constexpr int kPagesAtOnce = 256;

Error NotUsable(const std::string& path, const std::string& reason,
                const std::string& hint = "") {
  return {kDatabaseNotUsable, "cannot open database " + path + ": " + reason, hint};
}

bool IsOurs(const Rows& marks) {
  return !marks.empty() &&
         marks[0][0] == std::to_string(VEXO::sharing::db::kApplicationId);
}

/// Whether the header has the application id of links.
bool IsMarked(std::ifstream& file) {
  std::uint32_t id = 0;
  file.seekg(kApplicationIdAt);
  for (int i = 0; i < 4; ++i) id = id << 8 | static_cast<std::uint8_t>(file.get());
  return file.good() && id == VEXO::sharing::db::kApplicationId;
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

Error CopyError(int code) {
  if (code == SQLITE_INTERRUPT) {
    return {kInterrupted, "interrupted: nothing was copied"};
  }
  if (code == SQLITE_CORRUPT || code == SQLITE_NOTADB) {
    return {kDatabaseNotUsable, "the database is damaged: nothing was copied",
            "run vexosharing check"};
  }
  return {kFailed, std::string("cannot copy: ") + sqlite3_errstr(code)};
}

int CopyPages(sqlite3* from, sqlite3* to, const PageProgress& progress) {
  const std::unique_ptr<sqlite3_backup, decltype(&sqlite3_backup_finish)> backup(
      sqlite3_backup_init(to, "main", from, "main"), sqlite3_backup_finish);
  if (backup == nullptr) return sqlite3_errcode(to);
  int code = sqlite3_backup_step(backup.get(), 0);  // counts the pages
  while (code == SQLITE_OK) {
    const int total = sqlite3_backup_pagecount(backup.get());
    if (!progress(total - sqlite3_backup_remaining(backup.get()), total)) {
      return SQLITE_INTERRUPT;
    }
    code = sqlite3_backup_step(backup.get(), kPagesAtOnce);
  }
  return code;
}

/// Reads the copy again, as it is in the file.
Error Verify(const std::string& file) {
  Rows rows;
  const int code =
      Connection(file, SQLITE_OPEN_READONLY).Run("PRAGMA integrity_check(1)", &rows);
  if (code != SQLITE_OK) return CopyError(code);
  return rows == Rows{{"ok"}} ? Error{} : CopyError(SQLITE_CORRUPT);
}

Error FileError(const std::string& path) {
  return {kFailed, path + ": " + strerror(errno)};
}

/// A verified copy of `from` under the name `to`, which does not appear before the copy
/// is complete.
Error CopyTo(const std::string& from, const std::string& to,
             const PageProgress& progress) {
  AtomicFile file(to);
  if (!file.Create()) return FileError(to);
  if (Error error = CopyDatabase(from, file.working_path(), progress)) return error;
  const bool root = geteuid() == 0;
  const bool placed =
      file.SetAccess(root ? kSystemUid : -1, root ? kSystemGid : -1, kFileMode) &&
      file.PlaceDurably(AtomicFile::Existing::kKeep);
  return placed ? Error{} : FileError(to);
}

/// Replaces the links of a usable database in one transaction, in which nobody else can
/// write: what is kept is exactly what was replaced.
Error ReplaceRows(BaseDB& database, const std::string& path, const std::string& backup,
                  const std::string& kept, const PageProgress& progress) {
  if (!AttachBackup(database, backup)) return DatabaseError(database);
  Error error;
  {
    Transaction transaction(database);
    error = transaction.good() ? CopyTo(path, kept, progress) : DatabaseError(database);
    if (!error && !(ReplaceLinksByBackup(database) && transaction.Commit())) {
      error = DatabaseError(database);
      unlink(kept.c_str());
    }
  }
  database.Execute(kDetachBackup);
  return error;
}

/// Replaces a file that is no usable database, with its logs.  The new file is complete
/// before the old one is moved, and there is a file under the name at every moment.
Error ReplaceFile(const std::string& path, const std::string& backup,
                  const std::string& kept, const PageProgress& progress) {
  const std::string staged = path + ".restore";
  unlink(staged.c_str());  // of a restore that was killed
  Error error = CopyTo(backup, staged, progress);
  if (error) return error;
  // The logs first: SQLite would apply them to the file that takes its place.
  for (const char* const suffix : {"-wal", "-shm", "-journal"}) {
    const bool moved = rename((path + suffix).c_str(), (kept + suffix).c_str()) == 0;
    if (!error && !moved && errno != ENOENT) error = FileError(path + suffix);
  }
  const bool linked = link(path.c_str(), kept.c_str()) == 0;
  if (!error && !linked && errno != ENOENT) error = FileError(kept);
  if (!error && rename(staged.c_str(), path.c_str()) == -1) error = FileError(path);
  if (error) unlink(staged.c_str());
  return error;
}

/// Whether SQLite finds the database damaged.  It is read from a copy, whose logs do not
/// matter any more.
bool IsDamaged(const std::string& path) {
  const PrivateCopy copy(path);
  return !copy.path().empty() && Verify(copy.path()).code == kDatabaseNotUsable;
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
  // The mark never changes.  While another process moves its log into the file, nothing
  // else of the file can be read without locks.
  if (IsMarked(file)) return DatabaseContent::kLinks;
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
  const bool older = path == SZF_SHARING_DB_PATH && marks[0][0] == "0" &&
                     (version == "1" || version == "2");
  if (IsOurs(marks) || older) return DatabaseContent::kLinks;
  const bool has_objects = marks.size() < 3 || marks[2][0] != "0";
  return has_objects ? DatabaseContent::kForeign : DatabaseContent::kNothing;
}

PrivateCopy::PrivateCopy(const std::string& database) {
  std::string name = "/tmp/vexosharing.XXXXXX";
  if (mkdtemp(name.data()) == nullptr) return;
  folder_ = name;
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
    if (error || !give(target)) return;
  }
  // Last: until then the system account cannot put anything in the place of a copy.
  if (give(folder_)) path_ = folder_ + "/copy.db";
}

PrivateCopy::~PrivateCopy() {
  const int reason = errno;
  std::error_code error;
  if (!folder_.empty()) fs::remove_all(folder_, error);
  errno = reason;
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

Error CopyDatabase(const std::string& from, const std::string& to,
                   const PageProgress& progress) {
  const Connection source(from, SQLITE_OPEN_READWRITE);
  // The directory may belong to another account: what it puts there is not followed.
  const Connection copy(to, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW);
  // One view from beginning to end: without it every write of others restarts the copy.
  int code = source.Run("BEGIN; SELECT COUNT(*) FROM sqlite_master");
  // Synced once, at the end.
  if (code == SQLITE_OK) code = copy.Run("PRAGMA synchronous = OFF");
  if (code == SQLITE_OK) code = CopyPages(source.get(), copy.get(), progress);
  if (code != SQLITE_DONE) return CopyError(code);
  // One file, which can be read in a directory that cannot be written.
  code = copy.Run("PRAGMA journal_mode = DELETE; PRAGMA application_id = " +
                  std::to_string(VEXO::sharing::db::kApplicationId));
  return code == SQLITE_OK ? Verify(to) : CopyError(code);
}

Error RestoreDatabase(const std::string& file, const std::string& path,
                      const PageProgress& progress, Restored& restored) {
  if (Error error = CheckCaller()) return error;
  const PrivateCopy private_copy(file);
  const std::string& copy = private_copy.path();
  if (copy.empty()) return FileError(file);
  if (ContentOf(copy) != DatabaseContent::kLinks) {
    return {kFailed, file + ": not a backup of links"};
  }
  if (Error error = Verify(copy)) return error;
  DatabaseAccess backup;  // brings the copy to the current schema version
  if (Error error = backup.Open(copy, Access::kWrite)) return error;
  long visitors = 0;
  if (!DeleteRows(backup.database(), "token", "", visitors) ||
      !DeleteRows(backup.database(), "session", "", visitors) ||
      !CountRows(backup.database(), "entry", "", restored.links)) {
    return DatabaseError(backup.database());
  }

  const DatabaseContent present = ContentOf(path);
  if (present == DatabaseContent::kForeign) {
    return {kDatabaseNotUsable, path + ": belongs to another program"};
  }
  if (present == DatabaseContent::kNotDatabase && path != SZF_SHARING_DB_PATH) {
    return {kDatabaseNotUsable, path + ": file is not a database"};
  }
  const std::string kept = path + ".before-restore-" + std::to_string(time(nullptr));
  const bool replace = present == DatabaseContent::kNothing ||
                       present == DatabaseContent::kNotDatabase || IsDamaged(path);
  if (present != DatabaseContent::kNothing) restored.kept = kept;
  if (replace) return ReplaceFile(path, copy, kept, progress);
  DatabaseAccess current;
  if (Error error = current.Open(path, Access::kWrite)) return error;
  return ReplaceRows(current.database(), path, copy, kept, progress);
}

}  // namespace admin
