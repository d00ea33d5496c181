#include "support.h"

#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace {

LogCapture* capture = nullptr;

void Log(const char* format, va_list arguments) {
  if (capture == nullptr) return;
  char line[2000];
  vsnprintf(line, sizeof(line), format, arguments);
  capture->Add(line);
}

}  // namespace

// Both names of the C library's function: the second is what fortified code calls.
extern "C" void syslog(int /*priority*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Log(format, arguments);
  va_end(arguments);
}

extern "C" void __syslog_chk(int /*priority*/, int /*flag*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Log(format, arguments);
  va_end(arguments);
}

TempDir::TempDir() {
  char path[] = "/tmp/vexoplatform-test-XXXXXX";
  EXPECT_NE(mkdtemp(path), nullptr);
  path_ = path;
  EXPECT_EQ(chmod(path, 0755), 0);
}

TempDir::~TempDir() { std::filesystem::remove_all(path_); }

std::string TempDir::Write(const std::string& name, const std::string& text) const {
  std::ofstream(Path(name), std::ios::binary) << text;
  return Path(name);
}

LogCapture::LogCapture() { capture = this; }

LogCapture::~LogCapture() { capture = nullptr; }

ScopedVariable::ScopedVariable(const char* name, const char* value) : name_(name) {
  const char* const before = getenv(name);
  was_set_ = before != nullptr;
  if (was_set_) before_ = before;
  if (value == nullptr) {
    unsetenv(name);
  } else {
    setenv(name, value, 1);
  }
}

ScopedVariable::~ScopedVariable() {
  if (was_set_) {
    setenv(name_.c_str(), before_.c_str(), 1);
  } else {
    unsetenv(name_.c_str());
  }
}

pid_t StartChild(const std::function<void()>& body) {
  fflush(nullptr);
  const pid_t child = fork();
  if (child != 0) return child;
  body();
  fflush(nullptr);
  _exit(testing::Test::HasFailure() ? 1 : 0);
}

void ExpectGoodChild(pid_t child) {
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0) << "the child failed";
}

void InChild(const std::function<void()>& body) { ExpectGoodChild(StartChild(body)); }

void BecomeForGood(uid_t id, const std::vector<gid_t>& groups) {
  ASSERT_EQ(setgroups(groups.size(), groups.data()), 0);
  ASSERT_EQ(setresgid(id, id, id), 0);
  ASSERT_EQ(setresuid(id, id, id), 0);
}
