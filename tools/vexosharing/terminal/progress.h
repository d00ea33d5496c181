#pragma once

#include <chrono>
#include <string>
#include <utility>

#include "terminal/terminal.h"

namespace command {

/// Shows the progress of a long operation, if standard error is a terminal.  The line is
/// cleared at the end.
class Progress {
 public:
  /// `what` names the operation, as in "reading links"; a total of 0 means unknown.
  Progress(std::string what, long total) : what_(std::move(what)), total_(total) {}
  ~Progress() { Wipe(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// `done` of the total are done.
  void Show(long done);

  void SetTotal(long total) { total_ = total; }

  /// The same, immediately: for a long step without intermediate results.
  void ShowNow(long done);

  /// Clears the line for a message; the next Show continues below it.
  void Wipe();

 private:
  using Clock = std::chrono::steady_clock;
  // An operation that ends before the first pause shows no progress.
  static constexpr std::chrono::milliseconds kPause{200};

  std::string what_;
  long total_;
  bool terminal_ = IsErrorTerminal();
  bool shown_ = false;
  Clock::time_point next_ = Clock::now() + kPause;
};

}  // namespace command
