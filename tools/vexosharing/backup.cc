#include <sqlite3.h>
#include <string.h>
#include <sys/stat.h>

#include <cerrno>
#include <iostream>
#include <memory>
#include <string>

#include "commands.h"
#include "database.h"
#include "interrupt.h"
#include "json.h"
#include "new_file.h"
#include "options.h"
#include "progress.h"
#include "sqlite_connection.h"
#include "text.h"

namespace command {

namespace {

constexpr int kPagesAtOnce = 256;

struct Options {
  CommonOptions common;
  std::string file;
  bool force = false;
};

struct FinishBackup {
  void operator()(sqlite3_backup* backup) const { sqlite3_backup_finish(backup); }
};

Connection Open(const std::string& path, int flags) {
  int code = SQLITE_OK;
  Connection connection = Connect(path, flags, code);
  if (connection == nullptr) Tell(path + " cannot be opened: " + sqlite3_errstr(code));
  return connection;
}

bool Run(sqlite3* connection, const char* sql) {
  return sqlite3_exec(connection, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

Outcome Damaged() {
  return End(
      kNotUsable,
      "the database is damaged, and no copy was kept: vexosharing check says more");
}

Outcome Failed(int code) {
  if (code == SQLITE_INTERRUPT) return End(kInterrupted, "interrupted: nothing was kept");
  if (code == SQLITE_CORRUPT) return Damaged();
  return End(kRefused, std::string("the copy failed: ") + sqlite3_errstr(code));
}

int CopyPages(sqlite3* from, sqlite3* to) {
  const std::unique_ptr<sqlite3_backup, FinishBackup> backup(
      sqlite3_backup_init(to, "main", from, "main"));
  if (backup == nullptr) return sqlite3_errcode(to);
  int code = sqlite3_backup_step(backup.get(), 0);  // counts the pages
  Progress progress("copying pages", sqlite3_backup_pagecount(backup.get()));
  while (code == SQLITE_OK) {
    if (Interrupted()) return SQLITE_INTERRUPT;
    code = sqlite3_backup_step(backup.get(), kPagesAtOnce);
    progress.Show(sqlite3_backup_pagecount(backup.get()) -
                  sqlite3_backup_remaining(backup.get()));
  }
  return code;
}

Outcome Copy(const std::string& database, const std::string& file) {
  const Connection from = Open(database, SQLITE_OPEN_READWRITE);
  const Connection to = Open(file, SQLITE_OPEN_READWRITE);
  if (from == nullptr) return kNotUsable;
  if (to == nullptr) return kRefused;
  // One view from beginning to end: without it every write of others begins the copy
  // anew.
  if (!Run(from.get(), "BEGIN; SELECT COUNT(*) FROM sqlite_master")) {
    return Failed(sqlite3_errcode(from.get()));
  }
  Run(to.get(), "PRAGMA synchronous = OFF");  // made safe as a whole, at the end
  const int code = CopyPages(from.get(), to.get());
  if (code != SQLITE_DONE) return Failed(code);
  // The copy is to be one file, that can be read where nothing can be written beside it.
  return Run(to.get(), "PRAGMA journal_mode = DELETE")
             ? kDone
             : Failed(sqlite3_errcode(to.get()));
}

/// Reads the copy anew, as it stands in the file.
Outcome Verify(const std::string& file) {
  const Connection copy = Open(file, SQLITE_OPEN_READONLY);
  if (copy == nullptr) return kRefused;
  std::string found;
  const auto note = [](void* text, int /*columns*/, char** values, char** /*names*/) {
    if (values[0] != nullptr) *static_cast<std::string*>(text) = values[0];
    return 0;
  };
  const int code =
      sqlite3_exec(copy.get(), "PRAGMA integrity_check(1)", note, &found, nullptr);
  if (code != SQLITE_OK) return Failed(code);
  return found == "ok" ? kDone : Damaged();
}

/// Whether a log lies beside the name of the copy, told: it would be read into it.
bool LogLiesBeside(const std::string& file) {
  struct stat status = {};
  for (const char* const ending : {"-wal", "-journal"}) {
    const std::string log = file + ending;
    if (lstat(log.c_str(), &status) == 0) {
      Tell(log + " would be read into the new file: remove it, or name another file");
      return true;
    }
  }
  return false;
}

Outcome Backup(const Options& options) {
  const std::unique_ptr<SharingDB> db = OpenDatabase(options.common.database);
  if (db == nullptr) return kNotUsable;
  NewFile file(options.file, options.force);
  if (!file.Make(options.common.database) || LogLiesBeside(options.file)) return kRefused;
  Outcome outcome = Copy(options.common.database, file.working_path());
  if (outcome == kDone) outcome = Verify(file.working_path());
  if (outcome != kDone) return outcome;
  if (Interrupted()) return Failed(SQLITE_INTERRUPT);
  struct stat status = {};
  if (stat(file.working_path().c_str(), &status) == -1) {
    return End(kRefused, std::string("the copy is gone: ") + strerror(errno));
  }
  if (!file.Publish()) return kRefused;
  if (options.common.json) {
    Json::Value out(Json::objectValue);
    out["file"] = options.file;
    out["bytes"] = Json::Value::Int64{status.st_size};
    PrintJson(out);
  } else {
    std::cout << "Copied the database to " << Printable(options.file) << ": "
              << Counted(status.st_size, "byte") << ", checked.\n";
  }
  return kDone;
}

}  // namespace

void AddBackup(CLI::App& app, Work& work) {
  const auto options = std::make_shared<Options>();
  CLI::App& command = AddCommand(
      app, "backup",
      "Copies the database while others use it.\n"
      "The copy is checked, is for its owner alone to read, and appears whole\n"
      "or not at all.  It is as secret as the database.",
      "vexosharing backup /var/backups/sharing.db");
  command.add_option("FILE", options->file, "the copy")
      ->required()
      ->transform(NotEmpty());
  command.add_flag("--force", options->force, "replace a file that is there");
  AddCommon(command, options->common);
  command.callback([options, &work] { work = [options] { return Backup(*options); }; });
}

}  // namespace command
