#include "admin/backup.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <utility>

#include "admin/database_access.h"
#include "admin/queries.h"
#include "admin/sqlite_connection.h"
#include "base/atomic_file.h"
#include "base/system_account.h"

namespace admin {

namespace {

using VEXO::base::AtomicFile;

constexpr int kPagesAtOnce = 256;
constexpr mode_t kFileMode = 0660;

struct FinishBackup {
  void operator()(sqlite3_backup* backup) const { sqlite3_backup_finish(backup); }
};

bool Run(sqlite3* connection, const char* sql) {
  return sqlite3_exec(connection, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

Error CopyError(int code) {
  if (code == SQLITE_INTERRUPT) {
    return {kInterrupted, "interrupted: nothing was copied", ""};
  }
  if (code == SQLITE_CORRUPT || code == SQLITE_NOTADB) {
    return {kDatabaseNotUsable, "the database is damaged: nothing was copied",
            "run vexosharing check"};
  }
  return {kFailed, std::string("cannot copy: ") + sqlite3_errstr(code), ""};
}

int CopyPages(sqlite3* from, sqlite3* to, const PageProgress& progress) {
  const std::unique_ptr<sqlite3_backup, FinishBackup> backup(
      sqlite3_backup_init(to, "main", from, "main"));
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
  int code = SQLITE_OK;
  const Connection copy = Connect(file, SQLITE_OPEN_READONLY, code);
  if (copy == nullptr) return CopyError(code);
  std::string found;
  const auto note = [](void* text, int /*columns*/, char** values, char** /*names*/) {
    if (values[0] != nullptr) *static_cast<std::string*>(text) = values[0];
    return 0;
  };
  code = sqlite3_exec(copy.get(), "PRAGMA integrity_check(1)", note, &found, nullptr);
  if (code != SQLITE_OK) return CopyError(code);
  return found == "ok" ? Error{} : CopyError(SQLITE_CORRUPT);
}

Error FileError(const std::string& path) {
  return {kFailed, path + ": " + strerror(errno), ""};
}

std::string KeptName(const std::string& path) {
  return path + ".before-restore-" + std::to_string(time(nullptr));
}

/// A verified copy of `from` under the name `to`, which does not appear before the copy
/// is complete.
Error CopyTo(const std::string& from, const std::string& to,
             const PageProgress& progress) {
  using namespace VEXO::base;
  AtomicFile file(to);
  if (!file.Create()) return FileError(to);
  if (Error error = CopyDatabase(from, file.working_path(), progress)) return error;
  const uid_t owner = geteuid() == 0 ? kSystemUid : static_cast<uid_t>(-1);
  const gid_t group = geteuid() == 0 ? kSystemGid : static_cast<gid_t>(-1);
  if (!file.SetAccess(owner, group, kFileMode) ||
      !file.PlaceDurably(AtomicFile::Existing::kKeep)) {
    return FileError(to);
  }
  return {};
}

/// Replaces the rows of a usable database in one transaction.
Error ReplaceRows(BaseDB& database, const std::string& backup) {
  if (!AttachBackup(database, backup)) return DatabaseError(database);
  Error error;
  {
    Transaction transaction(database);
    if (!transaction.good() || !ReplaceRowsByBackup(database) || !transaction.Commit()) {
      error = DatabaseError(database);
    }
  }
  DetachBackup(database);
  return error;
}

/// Moves a database with its logs aside, if there is one.
Error MoveAside(const std::string& path, const std::string& target) {
  // The logs first: SQLite would apply them to the file that takes its place.
  for (const char* const suffix : {"-wal", "-shm", "-journal", ""}) {
    if (rename((path + suffix).c_str(), (target + suffix).c_str()) == -1 &&
        errno != ENOENT) {
      return FileError(path + suffix);
    }
  }
  return {};
}

}  // namespace

Error CopyDatabase(const std::string& from, const std::string& to,
                   const PageProgress& progress) {
  int code = SQLITE_OK;
  const Connection source = Connect(from, SQLITE_OPEN_READWRITE, code);
  if (source == nullptr) return CopyError(code);
  const Connection copy = Connect(to, SQLITE_OPEN_READWRITE, code);
  if (copy == nullptr) return CopyError(code);
  // One view from beginning to end: without it every write of others restarts the copy.
  if (!Run(source.get(), "BEGIN; SELECT COUNT(*) FROM sqlite_master")) {
    return CopyError(sqlite3_errcode(source.get()));
  }
  Run(copy.get(), "PRAGMA synchronous = OFF");  // synced once, at the end
  code = CopyPages(source.get(), copy.get(), progress);
  if (code != SQLITE_DONE) return CopyError(code);
  // One file, which can be read in a directory that cannot be written.
  if (!Run(copy.get(), "PRAGMA journal_mode = DELETE")) {
    return CopyError(sqlite3_errcode(copy.get()));
  }
  return Verify(to);
}

Error RestoreDatabase(const std::string& file, const std::string& path,
                      const PageProgress& progress, Restored& restored) {
  const PrivateFolder folder;
  DatabaseAccess backup;  // of a copy, brought to the current schema version
  const std::string copy = folder.Copy(file);
  if (copy.empty()) return FileError(file);
  if (ContentOf(copy) != DatabaseContent::kLinks) {
    return {kFailed, file + ": not a backup of links", ""};
  }
  if (Error error = Verify(copy)) return error;
  if (Error error = backup.Open(copy, Access::kWrite)) return error;
  if (!CountRows(backup.database(), "entry", "", restored.links)) {
    return DatabaseError(backup.database());
  }
  const std::string kept = KeptName(path);
  const DatabaseContent present = ContentOf(path);
  if (present == DatabaseContent::kForeign) {
    return {kDatabaseNotUsable, path + ": belongs to another program", ""};
  }
  if (present == DatabaseContent::kNothing) return CopyTo(copy, path, progress);
  restored.kept = kept;
  {
    DatabaseAccess current;
    const Error open_error = current.Open(path, Access::kWrite);
    Error copy_error = CopyTo(path, kept, progress);
    if (!copy_error) {
      return open_error ? open_error : ReplaceRows(current.database(), copy);
    }
    const bool damaged = copy_error.code == kDatabaseNotUsable;
    if (!damaged) return copy_error;
  }
  // The new file is complete before the old one is moved: a full disk changes nothing.
  const std::string staged = path + ".restore";
  if (Error error = CopyTo(copy, staged, progress)) return error;
  Error error = MoveAside(path, kept);
  if (!error && rename(staged.c_str(), path.c_str()) == -1) error = FileError(path);
  if (error) unlink(staged.c_str());
  return error;
}

}  // namespace admin
