#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

/// A folder of its own for one test, removed with all its files.
class TempDir {
 public:
  TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir();

  std::string Path(const std::string& name) const { return path_ + "/" + name; }
  /// Writes a file and answers its path.
  std::string Write(const std::string& name, const std::string& text) const;

 private:
  std::string path_;
};

/// Takes what the provider logs in this process while it lives.
class LogCapture {
 public:
  LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  ~LogCapture();

  const std::vector<std::string>& lines() const { return lines_; }
  void Add(const std::string& line) { lines_.push_back(line); }

 private:
  std::vector<std::string> lines_;
};

/// Sets an environment variable (null removes it) until the end of the scope.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value);
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;
  ~ScopedVariable();

 private:
  std::string name_;
  std::string before_;
  bool was_set_;
};

/// Starts a child process that runs `body`, whose failed expectations are the child's
/// failure.
pid_t StartChild(const std::function<void()>& body);
/// Waits for it, and expects that nothing failed in it.
void ExpectGoodChild(pid_t child);
/// Both.
void InChild(const std::function<void()>& body);

/// Gives up root for good: all three ids become `id`, and the supplementary groups those
/// given.  To be called in a child.
void BecomeForGood(uid_t id, const std::vector<gid_t>& groups);
