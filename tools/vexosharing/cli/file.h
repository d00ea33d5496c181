#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "admin/secret.h"
#include "base/atomic_file.h"

namespace command {

/// Replaces the value "@FILE" of an option by the content of the file, and "@-" by
/// standard input up to its end; any other value stays.  At most 1 MiB is read.  False,
/// reported, when it cannot be read or is larger.
bool ReadArgumentFile(const std::string& option, std::string& value);

/// Reads the next line of standard input and nothing beyond it.  On a terminal, prompts
/// for `what` ("password") and does not echo the answer.  False, reported, when there is
/// none.
bool ReadSecret(const std::string& what, admin::Secret& secret);

/// Reads a password from the first line of a file.  False, reported, when there is none
/// or when all users may read the file.
bool ReadSecretFile(const std::string& path, admin::Secret& secret);

/// Reads lines of any input.  Only one line is held in memory, and a line longer than
/// kLongest is skipped.
class LineReader {
 public:
  /// In bytes.
  static constexpr size_t kLongest = 4194304;  // 4 MiB

  /// `path` is a file, or "-" for standard input.
  explicit LineReader(const std::string& path);

  /// The next line, without its end.  False at the end of the input, after an interrupt,
  /// and when it cannot be read.
  bool Next(std::string& line);

  /// Why the input could not be opened or read, as in errno; 0 while it could.
  int error() const { return error_; }
  /// Number of the line read last, from 1.
  long number() const { return number_; }
  /// Whether the line read last was too long, and is empty therefore.
  bool too_long() const { return too_long_; }

 private:
  std::unique_ptr<FILE, int (*)(FILE*)> file_;
  int error_ = 0;
  long number_ = 0;
  bool too_long_ = false;
};

/// A file that is created atomically and that only its owner may read.  Every failure has
/// been reported.
class NewFile {
 public:
  /// `path` "-" is standard output: the file is written in the directory for temporary
  /// files and copied to standard output when it is published.  With `replace` an
  /// existing file may be replaced.
  NewFile(const std::string& path, bool replace);

  /// Creates the empty file under a temporary name.  False when the file at `path` must
  /// not be replaced; `database` and the files that belong to it never are.
  bool Make(const std::string& database);
  /// The temporary name, for those who open the file themselves.
  const std::string& working_path() const { return file_.working_path(); }
  bool is_standard_output() const { return path_ == "-"; }

  /// Buffered; false when the file cannot be written.
  bool Append(const std::string& text) { return file_.Append(text) || Failed(); }
  /// Syncs the file to disk and moves it into its place.
  bool Publish();

 private:
  static std::string TemporaryPath();
  bool MayTakePlace(const std::string& database) const;
  /// Reports errno, or `reason`; false.
  bool Failed(const std::string& reason = "") const;

  std::string path_;
  bool replace_;
  VEXO::base::AtomicFile file_;
};

}  // namespace command
