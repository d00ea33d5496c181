#include "cli/new_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <utility>

#include "admin/database_access.h"
#include "cli/report.h"

namespace command {

namespace {

using VEXO::base::AtomicFile;

const char* const kStandardOutput = "-";

bool IsSameFile(const std::string& path, const std::string& other) {
  struct stat one = {};
  struct stat two = {};
  return lstat(path.c_str(), &one) == 0 && stat(other.c_str(), &two) == 0 &&
         one.st_dev == two.st_dev && one.st_ino == two.st_ino;
}

std::string Place(const std::string& path) {
  if (path != kStandardOutput) return path;
  std::error_code error;
  return std::filesystem::temp_directory_path(error) / "vexosharing";
}

}  // namespace

NewFile::NewFile(std::string path, bool replace)
    : path_(std::move(path)), replace_(replace), file_(Place(path_)) {}

bool NewFile::is_standard_output() const { return path_ == kStandardOutput; }

bool NewFile::Make(const std::string& database) {
  if (!is_standard_output() && !MayTakePlace(database)) return false;
  return file_.Create() || Failed();
}

bool NewFile::MayTakePlace(const std::string& database) const {
  for (const char* const suffix : admin::kDatabaseFiles) {
    if (IsSameFile(path_, database + suffix)) return Failed("it is the database itself");
  }
  struct stat present = {};
  if (lstat(path_.c_str(), &present) == -1) return errno == ENOENT || Failed();
  if (!S_ISREG(present.st_mode)) return Failed("not a regular file");
  return replace_ || Failed("file exists; use --force to replace it");
}

bool NewFile::Publish() {
  if (is_standard_output()) return CopyToOutput();
  const auto existing =
      replace_ ? AtomicFile::Existing::kReplace : AtomicFile::Existing::kKeep;
  return file_.PlaceDurably(existing) || Failed();
}

bool NewFile::CopyToOutput() const {
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
