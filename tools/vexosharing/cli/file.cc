#include "cli/file.h"

#include <bsd/readpassphrase.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>

#include "admin/database_access.h"
#include "base/unique_fd.h"
#include "cli/report.h"

namespace command {

namespace {

using admin::Secret;
using VEXO::base::AtomicFile;

constexpr size_t kLongestArgument = 1048576;  // 1 MiB

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

/// Opens a file, or standard input ("-"), which stays open: no other file may take its
/// number.  Null when that fails.
File Open(const std::string& path) {
  if (path == "-") return {stdin, [](FILE*) { return 0; }};
  return {fopen(path.c_str(), "re"), fclose};
}

std::string ReadErrorText() { return Interrupted() ? "interrupted" : strerror(errno); }

bool Failed(const std::string& source, const std::string& reason) {
  ReportError("cannot read the " + source + ": " + reason);
  return false;
}

bool ReadLine(int fd, const std::string& source, Secret& secret) {
  char byte = '\0';
  while (true) {
    // Byte by byte, unlike readpassphrase: what follows the line is for the
    // next reader.
    const ssize_t count = read(fd, &byte, 1);
    if (count == -1) return Failed(source, ReadErrorText());
    if (count == 0 || byte == '\n') break;
    if (byte == '\0') return Failed(source, "the line contains a NUL byte");
    if (!secret.Append(byte)) {
      return Failed(source, "the line is longer than 4095 bytes");
    }
  }
  secret.RemoveCarriageReturn();
  return !secret.empty() || Failed(source, "the line is empty");
}

}  // namespace

bool ReadArgumentFile(const std::string& option, std::string& value) {
  if (value.empty() || value[0] != '@') return true;
  const std::string path = value.substr(1);
  const File file = Open(path);
  value.resize(kLongestArgument + 1);
  if (file != nullptr) value.resize(fread(value.data(), 1, value.size(), file.get()));
  const bool failed = file == nullptr || ferror(file.get()) != 0;
  if (!failed && value.size() <= kLongestArgument) return true;
  ReportError(option + ": cannot read " + (path == "-" ? "standard input" : path) + ": " +
              (failed ? ReadErrorText() : "larger than 1 MiB"));
  return false;
}

bool ReadSecret(const std::string& what, Secret& secret) {
  const std::string source = what + " from standard input";
  if (isatty(STDIN_FILENO) == 0) return ReadLine(STDIN_FILENO, source, secret);
  char line[Secret::kMaxLength + 1] = "";
  const std::string prompt = "Enter the " + what + ": ";
  if (readpassphrase(prompt.c_str(), line, sizeof(line), RPP_REQUIRE_TTY) == nullptr) {
    return Failed(source, ReadErrorText());
  }
  for (const char* at = line; *at != '\0'; ++at) secret.Append(*at);
  explicit_bzero(line, sizeof(line));
  return !secret.empty() || Failed(source, "the line is empty");
}

bool ReadSecretFile(const std::string& path, Secret& secret) {
  const std::string source = "password from " + path;
  const VEXO::base::UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  struct stat status = {};
  if (!file || fstat(file.get(), &status) == -1) return Failed(source, strerror(errno));
  if (S_ISREG(status.st_mode) && (status.st_mode & S_IROTH) != 0) {
    return Failed(source, "the file is readable by all users; use chmod 600");
  }
  return ReadLine(file.get(), source, secret);
}

LineReader::LineReader(const std::string& path) : file_(Open(path)) {
  struct stat status = {};
  if (file_ == nullptr || fstat(fileno(file_.get()), &status) == -1) {
    error_ = errno;
  } else if (S_ISDIR(status.st_mode)) {
    error_ = EISDIR;
  }
}

bool LineReader::Next(std::string& line) {
  line.clear();
  too_long_ = false;
  const auto next = [this] { return Interrupted() ? EOF : getc(file_.get()); };
  int byte = next();
  if (byte != EOF) ++number_;
  const bool begun = byte != EOF;
  for (; byte != EOF && byte != '\n'; byte = next()) {
    too_long_ = too_long_ || line.size() == kLongest;
    if (!too_long_) line.push_back(static_cast<char>(byte));
  }
  if (ferror(file_.get()) != 0 && !Interrupted()) error_ = errno;
  if (too_long_) line = std::string();  // frees its memory
  return begun && error_ == 0 && !Interrupted();
}

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
