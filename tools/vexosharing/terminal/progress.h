#pragma once

#include <chrono>
#include <string>

namespace command {

/// Shows how far long work has come, on a standard error that is a terminal.  It wipes
/// itself away at its end.
class Progress {
 public:
  /// `what` is what is being done, as in "reading links"; a total of 0 is not known.
  Progress(std::string what, long total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// `done` of the total are done by now.
  void Show(long done);

  void SetTotal(long total) { total_ = total; }

  /// The same, immediately: for a long step without intermediate results.
  void ShowNow(long done);

  /// Clears the line for a message; the next Show continues below it.
  void Wipe();

 private:
  using Clock = std::chrono::steady_clock;

  std::string what_;
  long total_;
  bool terminal_;
  bool shown_ = false;
  Clock::time_point next_;
};

}  // namespace command
