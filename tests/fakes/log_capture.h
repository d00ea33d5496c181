#pragma once

#include <string>
#include <vector>

namespace fakes {

/// Captures what is written to the system log during its lifetime.  With several objects
/// the newest captures a line; without one, lines are dropped.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// Texts, with %m expanded.
  const std::vector<std::string>& lines() const { return lines_; }
  /// Facility and level of each line.
  const std::vector<int>& priorities() const { return priorities_; }

  /// For the functions that replace those of the system log.
  void Add(int priority, const std::string& line);

 private:
  LogCapture* const outer_;
  std::vector<std::string> lines_;
  std::vector<int> priorities_;
};

}  // namespace fakes
