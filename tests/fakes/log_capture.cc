#include "log_capture.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace {

fakes::LogCapture* g_capture = nullptr;

// errno is as the caller left it when the text is made, for %m.
void Capture(int priority, const char* format, va_list arguments) {
  const int caller_errno = errno;
  va_list again;
  va_copy(again, arguments);
  const int length = vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (length < 0 || g_capture == nullptr) return;
  std::string line(static_cast<std::size_t>(length) + 1, '\0');
  errno = caller_errno;
  vsnprintf(line.data(), line.size(), format, arguments);
  line.pop_back();
  g_capture->Add(priority, line);
  errno = caller_errno;
}

}  // namespace

namespace fakes {

LogCapture::LogCapture() : outer_(g_capture) { g_capture = this; }

LogCapture::~LogCapture() { g_capture = outer_; }

void LogCapture::Add(int priority, const std::string& line) {
  priorities_.push_back(priority);
  lines_.push_back(line);
}

}  // namespace fakes

// <syslog.h> is not included: under fortification it defines some of these inline.
extern "C" {

void syslog(int priority, const char* format, ...) __attribute__((format(printf, 2, 3)));
void vsyslog(int priority, const char* format, va_list arguments)
    __attribute__((format(printf, 2, 0)));
void __syslog_chk(int priority, int flag, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
void __vsyslog_chk(int priority, int flag, const char* format, va_list arguments)
    __attribute__((format(printf, 3, 0)));

void vsyslog(int priority, const char* format, va_list arguments) {
  Capture(priority, format, arguments);
}

void __vsyslog_chk(int priority, int, const char* format, va_list arguments) {
  Capture(priority, format, arguments);
}

void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Capture(priority, format, arguments);
  va_end(arguments);
}

void __syslog_chk(int priority, int, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Capture(priority, format, arguments);
  va_end(arguments);
}

}  // extern "C"
