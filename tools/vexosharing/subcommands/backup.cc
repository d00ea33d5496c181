#include "admin/backup.h"

#include <sys/stat.h>

#include <iostream>
#include <memory>
#include <string>

#include "admin/database_access.h"
#include "cli/interrupt.h"
#include "cli/new_file.h"
#include "cli/options.h"
#include "cli/report.h"
#include "subcommands/table.h"
#include "terminal/json.h"
#include "terminal/progress.h"
#include "terminal/terminal.h"
#include "terminal/text.h"

namespace command {

namespace {

struct BackupOptions {
  CommonOptions common;
  std::string file;
  bool force = false;
};

struct RestoreOptions {
  CommonOptions common;
  std::string file;
};

admin::PageProgress ShowPages(Progress& progress) {
  return [&progress](long done, long total) {
    progress.SetTotal(total);
    progress.Show(done);
    return !Interrupted();
  };
}

/// Whether a log with the name of the copy exists, reported: SQLite would apply
/// it.
bool HasLog(const std::string& file) {
  for (const std::string& log : {file + "-wal", file + "-journal"}) {
    struct stat status = {};
    if (lstat(log.c_str(), &status) == -1) continue;
    ReportError(log + " exists and would change the backup; remove it first");
    return true;
  }
  return false;
}

ExitCode Backup(const BackupOptions& options) {
  NewFile file(options.file, options.force);
  if (file.is_standard_output() && IsOutputTerminal()) {
    return Fail(kUsageError, "cannot write a backup to a terminal; name a file");
  }
  if (file.is_standard_output() && options.common.json) {
    return Fail(kUsageError,
                "--json requires a file name: - writes the backup to standard output");
  }
  admin::DatabaseAccess access;
  admin::Error error = access.Open(options.common.database, admin::Access::kRead);
  if (error) return Fail(error);
  if (!file.Make(options.common.database) || HasLog(options.file)) return kRefused;
  {
    Progress progress("copying pages", 0);
    error = admin::CopyDatabase(access.path(), file.working_path(), ShowPages(progress));
  }
  if (error) return Fail(error);
  struct stat status = {};
  stat(file.working_path().c_str(), &status);
  if (!file.Publish()) return kRefused;
  if (file.is_standard_output()) return kSuccess;
  if (options.common.json) {
    Json::Value out(Json::objectValue);
    out["file"] = options.file;
    out["bytes"] = Json::Int64{status.st_size};
    PrintJson(out);
  } else {
    std::cout << "Wrote " << Counted(status.st_size, "byte") << " to "
              << Printable(options.file) << ".\n";
  }
  return kSuccess;
}

ExitCode Restore(const RestoreOptions& options) {
  admin::Restored restored;
  admin::Error error;
  {
    Progress progress("copying pages", 0);
    error = admin::RestoreDatabase(options.file, options.common.database,
                                   ShowPages(progress), restored);
  }
  if (error) return Fail(error);
  if (options.common.json) {
    Json::Value out(Json::objectValue);
    out["file"] = options.file;
    out["kept"] = restored.kept.empty() ? Json::Value() : Json::Value(restored.kept);
    out["links"] = Json::Int64{restored.links};
    PrintJson(out);
    return kSuccess;
  }
  std::cout << "Restored " << Counted(restored.links, "link");
  if (!restored.kept.empty()) {
    std::cout << "; the previous database is " << Printable(restored.kept);
  }
  std::cout << ".\n";
  return kSuccess;
}

}  // namespace

void AddBackup(CLI::App& command, Action& action) {
  const auto options = std::make_shared<BackupOptions>();
  command.add_option("FILE", options->file, "file to create; - for standard output")
      ->transform(NotEmpty())
      ->required();
  command.add_flag("--force", options->force, "replace an existing file");
  AddCommon(command, options->common);
  SetAction(command, action, options, Backup);
}

void AddRestore(CLI::App& command, Action& action) {
  const auto options = std::make_shared<RestoreOptions>();
  command.add_option("FILE", options->file, "backup to restore")
      ->transform(NotEmpty())
      ->required();
  AddCommon(command, options->common);
  SetAction(command, action, options, Restore);
}

}  // namespace command
