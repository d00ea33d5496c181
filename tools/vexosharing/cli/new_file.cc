#include "cli/new_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>

#include "admin/database_access.h"
#include "cli/report.h"

namespace command {

using VEXO::base::AtomicFile;

NewFile::NewFile(const std::string& path, bool replace)
    : path_(path), replace_(replace), file_(path == "-" ? TemporaryPath() : path) {}

std::string NewFile::TemporaryPath() {
  std::error_code error;
  return std::filesystem::temp_directory_path(error) / "vexosharing";
}

bool NewFile::Make(const std::string& database) {
  if (!is_standard_output() && !MayTakePlace(database)) return false;
  return file_.Create() || Failed();
}

bool NewFile::MayTakePlace(const std::string& database) const {
  struct stat present = {};
  if (lstat(path_.c_str(), &present) == -1) return errno == ENOENT || Failed();
  if (!S_ISREG(present.st_mode)) return Failed("not a regular file");
  for (const char* const suffix : admin::kDatabaseFiles) {
    std::error_code error;
    if (std::filesystem::equivalent(path_, database + suffix, error)) {
      return Failed("it is the database itself");
    }
  }
  return replace_ || Failed("file exists; use --force to replace it");
}

bool NewFile::Publish() {
  if (!is_standard_output()) {
    const auto existing =
        replace_ ? AtomicFile::Existing::kReplace : AtomicFile::Existing::kKeep;
    return file_.PlaceDurably(existing) || Failed();
  }
  std::ifstream file(working_path(), std::ios::binary);
  errno = EIO;
  // A failed write is reported when the program ends.
  return (std::cout << file.rdbuf()) || file || Failed();
}

bool NewFile::Failed(const std::string& reason) const {
  ReportError("cannot write " + path_ + ": " +
              (reason.empty() ? strerror(errno) : reason));
  return false;
}

}  // namespace command
