#include <sys/stat.h>

#include "cli/file.h"
#include "subcommands/table.h"
#include "terminal/terminal.h"

namespace command {

namespace {

struct Options : CommonOptions {
  std::string file;
  bool force = false;  // of backup
};

/// Whether a log with the name of the copy exists, reported: SQLite would apply it.
bool HasLog(const std::string& file) {
  for (const std::string& log : {file + "-wal", file + "-journal"}) {
    struct stat status = {};
    if (lstat(log.c_str(), &status) == -1) continue;
    ReportError(log + " exists and would change the backup; remove it first");
    return true;
  }
  return false;
}

ExitCode Backup(const Options& options) {
  NewFile file(options.file, options.force);
  if (file.is_standard_output() && IsOutputTerminal()) {
    return Fail(kUsageError, "cannot write a backup to a terminal; name a file");
  }
  if (file.is_standard_output() && options.json) {
    return Fail(kUsageError,
                "--json requires a file name: - writes the backup to standard output");
  }
  admin::DatabaseAccess access;
  if (Error error = access.Open(options.database, Access::kRead)) return Fail(error);
  if (!file.Make(options.database) || HasLog(options.file)) return kRefused;
  const Error error = admin::CopyDatabase(access.path(), file.working_path(),
                                          ShowProgress("copying pages"));
  if (error) return Fail(error);
  struct stat status = {};
  stat(file.working_path().c_str(), &status);
  if (!file.Publish()) return kRefused;
  if (file.is_standard_output()) return kSuccess;
  PrintResult(options.json,
              {{"file", options.file}, {"bytes", Json::Int64{status.st_size}}},
              "Wrote " + Counted(status.st_size, "byte") + " to " + options.file + ".");
  return kSuccess;
}

ExitCode Restore(const Options& options) {
  admin::Restored restored;
  const Error error = admin::RestoreDatabase(options.file, options.database,
                                             ShowProgress("copying pages"), restored);
  if (error) return Fail(error);
  const std::string& kept = restored.kept;
  PrintResult(options.json,
              {{"file", options.file},
               {"kept", kept.empty() ? Json::Value() : kept},
               {"links", Json::Int64{restored.links}}},
              "Restored " + Counted(restored.links, "link") +
                  (kept.empty() ? "" : "; the previous database is " + kept) + ".");
  return kSuccess;
}

}  // namespace

Action AddBackup(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  AddValue(command, "FILE", options->file, "PATH", NotEmpty(),
           "file to create; - for standard output")
      ->required();
  command.add_flag("--force", options->force, "replace an existing file");
  AddCommon(command, *options);
  return [options] { return Backup(*options); };
}

Action AddRestore(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  AddValue(command, "FILE", options->file, "PATH", NotEmpty(), "backup to restore")
      ->required();
  AddCommon(command, *options);
  return [options] { return Restore(*options); };
}

}  // namespace command
