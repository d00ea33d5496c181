#pragma once

#include <cstdlib>
#include <ctime>
#include <string>

namespace fakes {

/// Sets the time zone of the process, in POSIX form, during its lifetime.
class TimeZone {
 public:
  explicit TimeZone(const std::string& zone) {
    if (const char* const before = getenv("TZ")) before_ = before;
    setenv("TZ", zone.c_str(), 1);
    tzset();
  }
  ~TimeZone() {
    if (before_.empty()) {
      unsetenv("TZ");
    } else {
      setenv("TZ", before_.c_str(), 1);
    }
    tzset();
  }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;

 private:
  std::string before_;
};

}  // namespace fakes
