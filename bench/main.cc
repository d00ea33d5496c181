// Measures the operations of a Backend, as a Google Benchmark program.
//
//   PROGRAM --links N [--iterations N] [--first VISIT] [--benchmark_OPTION...]
//   PROGRAM --links N --writers PROCESSES --seconds SECONDS

#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "backend.h"
#include "calls.h"
#include "rows.h"
#include "samples.h"
#include "writers.h"

namespace {

using bench::Backend;
using bench::Calls;
using bench::Visit;
using Operation = std::function<void(Backend&, const Visit&)>;

std::vector<Visit> AllVisits(int links) {
  std::vector<Visit> visits;
  visits.reserve(bench::kSessions);
  for (int n = 0; n < bench::kSessions; ++n) {
    visits.push_back(bench::GetVisit(links, n));
  }
  return visits;
}

/// Measures each run of an operation, when the visited links are in memory.  Beside the
/// mean time there are the median, and how many syncs and account switches a run needs.
/// Callgrind counts nothing else.
void Measure(benchmark::State& state, const Operation& operation,
             const std::vector<Visit>& visits, long first, int warm_up) {
  const std::unique_ptr<Backend> backend = bench::OpenBackend(false);
  for (int i = 0; i < bench::kVisitedLinks; ++i) backend->Get(visits[i % visits.size()]);
  long n = first;
  for (int i = 0; i < warm_up; ++i) operation(*backend, visits[n++ % visits.size()]);

  bench::Samples samples(state);
  const Calls before = bench::CountedCalls();
  CALLGRIND_START_INSTRUMENTATION;
  for (auto _ : state) {
    const Visit& visit = visits[n++ % visits.size()];
    samples.Add([&] { operation(*backend, visit); });
  }
  CALLGRIND_STOP_INSTRUMENTATION;
  const Calls after = bench::CountedCalls();

  const auto count = static_cast<double>(state.iterations());
  state.counters["syncs"] = static_cast<double>(after.syncs - before.syncs) / count;
  state.counters["switches"] =
      static_cast<double>(after.switches - before.switches) / count;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  CLI::App app("Measures operations on sharing links");
  int links = 0;
  int iterations = 1000;
  long first = 0;
  int writers = 0;
  double seconds = 1;
  app.add_option("--links", links, "Links in the database")->required();
  app.add_option("--iterations", iterations, "Runs of each operation, after a warm-up");
  app.add_option("--first", first, "Number of the first visitor");
  app.add_option("--writers", writers, "Processes that write at the same time");
  app.add_option("--seconds", seconds, "Time for which they write");
  CLI11_PARSE(app, argc, argv);

  const std::vector<Visit> visits = AllVisits(links);
  if (writers > 0) return bench::RunWriters(visits, writers, seconds) ? 0 : 1;

  const auto add = [&](const char* name, int warm_up, const Operation& operation) {
    const auto measure = [&visits, operation, first, warm_up](benchmark::State& state) {
      Measure(state, operation, visits, first, warm_up);
    };
    benchmark::RegisterBenchmark(name, measure)
        ->Iterations(iterations)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
  };
  constexpr int kWarmUp = 200;
  add("check", kWarmUp,
      [](Backend& backend, const Visit& visit) { backend.Check(visit); });
  add("login", kWarmUp,
      [](Backend& backend, const Visit& visit) { backend.LogIn(visit); });
  add("create", kWarmUp, [](Backend& backend, const Visit&) { backend.Create(); });
  add("get", kWarmUp, [](Backend& backend, const Visit& visit) { backend.Get(visit); });
  // Only the first run finds something to delete.
  add("purge", 0, [](Backend& backend, const Visit&) { backend.Purge(); });
  benchmark::RunSpecifiedBenchmarks();
}
