#pragma once

#include <algorithm>
#include <chrono>

namespace web {

/// A point in time that something must be done by.
class Deadline {
 public:
  explicit Deadline(std::chrono::steady_clock::duration time)
      : end_(std::chrono::steady_clock::now() + time) {}

  /// At least 0.
  int MillisecondsLeft() const {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        end_ - std::chrono::steady_clock::now());
    return std::max(0, static_cast<int>(left.count()));
  }

  bool IsOver() const { return MillisecondsLeft() == 0; }

 private:
  std::chrono::steady_clock::time_point end_;
};

}  // namespace web
