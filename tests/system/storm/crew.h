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

/// Cores of the machine.
int Cores();

/// The processes of one storm.  All of them end with this one.
class Crew {
 public:
  Crew(int workers, const std::vector<std::string>& shared_links, Faults& faults);
  /// Ends whatever is still there, by force.
  ~Crew();
  Crew(const Crew&) = delete;
  Crew& operator=(const Crew&) = delete;

  /// Runs `work` in a process of its own, which ends by exit(3).
  pid_t Start(const std::function<void()>& work);
  /// The same, and waits for it.  Whether it ended well.
  bool Run(const std::function<void()>& work);

  /// Processes that only interrupt the others, spread over the cores.
  void StartBusy(int count);
  void StartAdmin(const std::string& commands);
  void StartWorkers();

  /// Puts a new worker in the place of each that has ended.
  void Replace();
  /// Kills a worker, and puts a new one in its place.
  void KillOne();
  int kills() const { return kills_; }

  /// Lets every worker and the administrator come to their end.
  void Finish();
  /// Paths of all journals, in an order in which they can be replayed.
  const std::vector<std::string>& journals() const { return journals_; }
  /// The path of one more journal.
  std::string AddJournal(const std::string& name);

 private:
  void StartWorker(int place);
  /// Takes note of one process that has ended.  False when none has.
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
