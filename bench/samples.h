#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace bench {

/// The time of each iteration of a benchmark.  The destructor adds the median to the
/// counters, in microseconds.
class Samples {
 public:
  explicit Samples(benchmark::State& state) : state_(state) {
    seconds_.reserve(state.max_iterations);
  }
  ~Samples() {
    std::sort(seconds_.begin(), seconds_.end());
    state_.counters["p50_us"] = seconds_[seconds_.size() / 2] * 1e6;
  }
  Samples(const Samples&) = delete;
  Samples& operator=(const Samples&) = delete;

  /// Runs and measures one iteration.
  template <class Operation>
  void Add(const Operation& operation) {
    const Clock::time_point begin = Clock::now();
    operation();
    seconds_.push_back(std::chrono::duration<double>(Clock::now() - begin).count());
    state_.SetIterationTime(seconds_.back());
  }

 private:
  using Clock = std::chrono::steady_clock;

  benchmark::State& state_;
  std::vector<double> seconds_;
};

}  // namespace bench
