// Measures how long whole programs run, as a Google Benchmark program: cold_check, and
// cold_line, which does nothing but start and end.
//
//   bench_cold --links N [--iterations N] [--first N] [--benchmark_OPTION...]

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "samples.h"

namespace {

/// Runs a program without output, and ends this one if it fails.
void Spawn(const std::vector<std::string>& command,
           const posix_spawn_file_actions_t& actions) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& word : command) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  pid_t child = -1;
  int status = -1;
  if (posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ) !=
          0 ||
      waitpid(child, &status, 0) != child || status != 0) {
    std::fprintf(stderr, "%s failed\n", arguments[0]);
    std::exit(1);
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  CLI::App app("Measures how long a check takes with the start of its program");
  int links = 0;
  int iterations = 100;
  long first = 0;
  app.add_option("--links", links, "Links in the database")->required();
  app.add_option("--iterations", iterations, "Runs of each program");
  app.add_option("--first", first, "Number of the first visitor");
  CLI11_PARSE(app, argc, argv);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);

  const std::filesystem::path folder =
      std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const auto add = [&](const char* name, const char* program, bool has_arguments) {
    const std::string path = folder / program;
    const auto run = [=](benchmark::State& state) {
      bench::Samples samples(state);
      long n = first;
      for (auto _ : state) {
        std::vector<std::string> command = {path};
        if (has_arguments) {
          command.insert(command.end(), {std::to_string(links), std::to_string(n++)});
        }
        samples.Add([&] { Spawn(command, actions); });
      }
    };
    benchmark::RegisterBenchmark(name, run)
        ->Iterations(iterations)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
  };
  add("check", "bench_cold_check", true);
  add("line", "bench_cold_line", false);
  benchmark::RunSpecifiedBenchmarks();
}
