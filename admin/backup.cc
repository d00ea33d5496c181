#include "admin/backup.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>

#include "admin/database_access.h"
#include "admin/queries.h"
#include "admin/sqlite_connection.h"
#include "base/atomic_file.h"
#include "base/system_account.h"
#include "keys.h"

namespace admin {

namespace {

using VEXO::base::AtomicFile;
using VEXO::sharing::SZF_SHARING_DB_PATH;

constexpr int kPagesAtOnce = 256;
constexpr mode_t kFileMode = 0660;

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
  using namespace VEXO::base;
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
