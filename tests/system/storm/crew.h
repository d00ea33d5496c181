#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "faults.h"
#include "stop_flag.h"
#include "worker.h"

namespace storm {

extern const char* const kJournals;  // folder

/// The processes of one stress test.  The kernel kills them if this process ends.
class Crew {
 public:
  Crew(int workers, const std::vector<std::string>& shared_links, Faults& faults);
  /// Kills all processes that are still running.
  ~Crew();
  Crew(const Crew&) = delete;
  Crew& operator=(const Crew&) = delete;

  /// Runs `work` in a new process, which then calls exit(3).
  pid_t Start(const std::function<void()>& work);
  /// Runs `work` in a new process and waits for it.  False unless it exits with 0.
  bool Run(const std::function<void()>& work);

  /// Starts processes that only compete for the CPUs, spread over the cores.
  void StartBusy(int count);
  void StartAdmin(const std::string& commands);
  void StartWorkers();

  /// Replaces every worker that has ended.
  void Replace();
  /// Kills one worker and replaces it.
  void KillOne();
  int kills() const { return kills_; }

  /// Stops the workers and the administrator, and waits for them.
  void Finish();
  /// Paths of all journals, in an order in which they can be replayed.
  const std::vector<std::string>& journals() const { return journals_; }
  /// Adds a journal and returns its path.
  std::string AddJournal(const std::string& name);

 private:
  void StartWorker(int place);
  /// Reaps one process that has ended.  False if there is none.
  bool Reap();

  const int workers_;
  const std::vector<std::string> shared_links_;
  Faults& faults_;
  StopFlag stop_;
  std::mt19937 random_;
  std::map<pid_t, int> places_;  // of the workers
  std::map<int, int> generations_;
  pid_t admin_ = -1;
  std::set<pid_t> busy_;
  pid_t killed_ = -1;  // until it has been waited for
  int kills_ = 0;
  std::vector<int> empty_places_;
  std::vector<std::string> journals_;
};

}  // namespace storm
