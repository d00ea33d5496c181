// Stress test: sixteen processes use the database at once through every operation of the
// library, and the vexosharing command runs beside them.  Each process keeps a journal.
// Afterwards the database must match the journals, and no operation may have returned a
// wrong result.
//
// Run it with scripts/private-namespace: it uses the fixed paths.

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vexo/autoblock.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "crew.h"
#include "database.h"
#include "disturb.h"
#include "faults.h"
#include "journal.h"
#include "model.h"
#include "system_test.h"
#include "worker.h"

namespace {

using Clock = std::chrono::steady_clock;
using storm::Crew;
using storm::Faults;

constexpr int kSharedLinks = 4;

struct Options {
  int workers = 16;
  int seconds = 20;
  int kills = 0;
  int busy = storm::Cores();  // with more, each one preempts the workers less often
  bool no_admin = false;
  std::string disk;
  std::string commands = "build/bin";
};

/// Times and numbers of the operations of all journals.
class Statistics {
 public:
  void Add(const std::string& journal, Faults& faults) {
    storm::ReadJournal(journal, [&](const storm::Step& step) { Add(step, faults); });
  }

  void Print(double seconds) {
    long operations = 0;
    for (const auto& [name, count] : counts_) {
      printf("%9ld  %s\n", count, name.c_str());
      operations += count;
    }
    printf("%ld operations in %.1f s: %.0f a second\n", operations, seconds,
           static_cast<double>(operations) / seconds);
    if (times_.empty()) return;
    std::sort(times_.begin(), times_.end());
    printf("waits: half within %.1f ms, 99.9 %% within %.1f ms, longest %.1f ms (%s)\n",
           Milliseconds(0.5), Milliseconds(0.999), static_cast<double>(longest_) / 1000,
           slowest_.c_str());
  }

 private:
  void Add(const storm::Step& step, Faults& faults) {
    if (!step.answer) return;
    const bool is_command = step.operation.action == storm::Action::kCommand;
    const std::string name = is_command
                                 ? std::string("vexosharing ") + step.operation.text
                                 : std::string(storm::NameOf(step.operation.action));
    ++counts_[name];
    if (!step.answer->good()) faults.Add(step.answer->complaint, step.answer->detail);
    if (is_command || step.operation.action == storm::Action::kEdit) return;
    times_.push_back(step.answer->microseconds);
    if (step.answer->microseconds >= longest_) {
      longest_ = step.answer->microseconds;
      slowest_ = name;
    }
  }

  double Milliseconds(double part) const {
    const auto index =
        static_cast<std::size_t>(part * static_cast<double>(times_.size()));
    return static_cast<double>(times_[index]) / 1000;
  }

  std::map<std::string, long> counts_;
  std::vector<long> times_;  // of the workers, in microseconds
  long longest_ = 0;
  std::string slowest_;
};

/// Mounts `folder` over the database folder.
bool UseDisk(const std::string& folder) {
  const char* const target = system_test::kDatabaseFolder;
  if (!std::filesystem::is_empty(folder)) {
    fprintf(stderr, "storm: %s is not empty\n", folder.c_str());
    return false;
  }
  if (mount(folder.c_str(), target, nullptr, MS_BIND, nullptr) == -1 ||
      chown(target, 1, 1) == -1 || chmod(target, 0750) == -1) {
    perror(folder.c_str());
    return false;
  }
  return true;
}

bool Prepare(const Options& options) {
  // Failed logins are counted, but never block an address.
  system_test::WriteFile("/usr/vexo/etc/platform.conf",
                         "block_failures = 1000000000\n"
                         "block_window_seconds = 1000000000\n"
                         "block_duration_seconds = 1\n");
  std::filesystem::create_directory(storm::kJournals);
  return options.disk.empty() || UseDisk(options.disk);
}

std::vector<std::string> LinksOf(const std::string& journal) {
  std::vector<std::string> links;
  storm::ReadJournal(journal, [&links](const storm::Step& step) {
    const bool made = step.operation.action == storm::Action::kCreate && step.answer &&
                      step.answer->good();
    if (made) links.push_back(step.answer->link);
  });
  return links;
}

void KillWorkers(Crew& crew, int kills) {
  std::mt19937 random((std::random_device()()));
  std::uniform_int_distribution<int> pause(5000, 20000);  // microseconds
  while (crew.kills() < kills) {
    const auto next = Clock::now() + std::chrono::microseconds(pause(random));
    while (Clock::now() < next) crew.Replace();
    crew.KillOne();
  }
}

/// Runs the stress test.  Returns its duration in seconds.
double RunLoad(const Options& options, Crew& crew) {
  const Clock::time_point begin = Clock::now();
  crew.StartBusy(options.busy);
  if (!options.no_admin) crew.StartAdmin(options.commands);
  crew.StartWorkers();
  if (options.kills > 0) {
    KillWorkers(crew, options.kills);
  } else {
    while (Clock::now() < begin + std::chrono::seconds(options.seconds)) crew.Replace();
  }
  crew.Finish();
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

std::map<std::string, long> CountedFailures(Faults& faults) {
  std::map<std::string, long> counts;
  const auto note = [](const VexoAutoBlockEntry* entry, void* context) {
    auto& out = *static_cast<std::map<std::string, long>*>(context);
    out[entry->address] = entry->failures;
    return 0;
  };
  if (VEXOAutoBlockList(note, &counts) != 0) {
    faults.Add("the list of failed logins cannot be read", "");
  }
  return counts;
}

void Compare(const Crew& crew, Faults& faults) {
  storm::Model model;
  for (const std::string& journal : crew.journals()) model.Replay(journal);
  storm::Tables tables;
  if (storm::ReadTables(system_test::kDatabase, tables, faults)) {
    model.Compare(tables, faults);
  }
  model.CompareFailures(CountedFailures(faults), faults);
  printf("%d kills; %zu links, %zu sessions, %zu tokens; integrity: %s\n", crew.kills(),
         tables.links.size(), tables.sessions.size(), tables.tokens.size(),
         tables.integrity.c_str());
}

bool Storm(const Options& options) {
  Faults faults;
  const std::string setup = std::string(storm::kJournals) + "/setup";
  {
    Crew first(0, {}, faults);
    first.Run([&setup] { storm::MakeSharedLinks(setup, kSharedLinks); });
  }
  const std::vector<std::string> links = LinksOf(setup);
  if (links.size() != kSharedLinks) {
    fprintf(stderr, "storm: cannot create the shared links\n");
    return false;
  }

  Crew crew(options.workers, links, faults);
  crew.AddJournal("setup");
  const double seconds = RunLoad(options, crew);
  const std::string last = crew.AddJournal("last");
  if (!crew.Run([&last] { storm::PurgeAtTheEnd(last); })) {
    faults.Add("the purge at the end failed", "");
  }

  Statistics statistics;
  for (const std::string& journal : crew.journals()) statistics.Add(journal, faults);
  statistics.Print(seconds);
  Compare(crew, faults);
  faults.Print();
  return faults.none();
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Stress test: many processes use the sharing database at once.");
  app.add_option("--workers", options.workers, "number of worker processes")
      ->check(CLI::PositiveNumber);
  app.add_option("--seconds", options.seconds, "duration, unless --kills is given");
  app.add_option("--kills", options.kills, "kill this many workers, then end");
  app.add_option("--busy", options.busy,
                 "number of processes that only compete for the CPUs");
  app.add_flag("--no-admin", options.no_admin, "do not run the vexosharing command");
  app.add_option("--disk", options.disk, "empty folder for the database")
      ->check(CLI::ExistingDirectory);
  app.add_option("--commands", options.commands, "folder of the vexosharing command")
      ->check(CLI::ExistingDirectory)
      ->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  return Prepare(options) && Storm(options) ? 0 : 1;
}
