#include "crew.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <iterator>

#include "admin.h"
#include "child_process.h"
#include "disturb.h"

namespace storm {

using Clock = std::chrono::steady_clock;

const char* const kJournals = "/tmp/storm";

namespace {

// An operation of several statements may wait for a lock more than once.
constexpr std::chrono::seconds kPatience(120);
constexpr useconds_t kPause = 1000;

std::string HowItEnded(int status) {
  return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                             : "status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

Crew::Crew(int workers, const std::vector<std::string>& shared_links, Faults& faults)
    : workers_(workers),
      shared_links_(shared_links),
      faults_(faults),
      random_(std::random_device()()) {}

Crew::~Crew() {
  for (const auto& [worker, place] : places_) busy_.insert(worker);
  if (admin_ != -1) busy_.insert(admin_);
  for (const pid_t child : busy_) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
}

pid_t Crew::Start(const std::function<void()>& work) {
  return fakes::StartChild([&work] {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    work();
    exit(0);  // unlike _exit(2), closes the database
    return true;
  });
}

bool Crew::Run(const std::function<void()>& work) { return fakes::EndsWell(Start(work)); }

std::string Crew::AddJournal(const std::string& name) {
  journals_.push_back(std::string(kJournals) + "/" + name);
  return journals_.back();
}

void Crew::StartBusy(int count) {
  for (int i = 0; i < count; ++i) {
    busy_.insert(Start([i] { Disturb(i % Cores()); }));
  }
}

void Crew::StartAdmin(const std::string& commands) {
  const std::string journal = AddJournal("admin");
  admin_ = Start([&] { Administer(journal, commands, shared_links_, stop_); });
}

void Crew::StartWorkers() {
  for (int place = 0; place < workers_; ++place) StartWorker(place);
}

void Crew::StartWorker(int place) {
  const Place seat = {place, generations_[place]++};
  const std::string journal =
      AddJournal(std::to_string(seat.number) + "." + std::to_string(seat.generation));
  places_[Start([&] { Work(journal, seat, shared_links_, stop_); })] = place;
}

bool Crew::Reap() {
  int status = 0;
  const pid_t child = waitpid(-1, &status, WNOHANG);
  if (child <= 0) return false;
  const bool was_killed =
      child == killed_ && WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  if (was_killed) ++kills_;
  const bool well = was_killed || (WIFEXITED(status) && WEXITSTATUS(status) == 0);
  if (child == admin_) {
    admin_ = -1;
    if (!well) faults_.Add("the administrator's process failed", HowItEnded(status));
    return true;
  }
  busy_.erase(child);
  const auto place = places_.find(child);
  if (place == places_.end()) return true;
  if (!well) faults_.Add("a worker failed: " + HowItEnded(status), "");
  empty_places_.push_back(place->second);
  places_.erase(place);
  return true;
}

void Crew::Replace() {
  while (Reap()) {
  }
  for (const int place : empty_places_) StartWorker(place);
  empty_places_.clear();
  usleep(kPause);
}

void Crew::KillOne() {
  std::uniform_int_distribution<std::size_t> any(0, places_.size() - 1);
  killed_ = std::next(places_.begin(), static_cast<long>(any(random_)))->first;
  kill(killed_, SIGKILL);
  while (places_.count(killed_) > 0) {
    if (!Reap()) usleep(kPause / 10);
  }
  killed_ = -1;
  Replace();
}

void Crew::Finish() {
  stop_.Set();
  const auto end = Clock::now() + kPatience;
  while ((!places_.empty() || admin_ != -1) && Clock::now() < end) {
    if (!Reap()) usleep(kPause);
  }
  for (const auto& [worker, place] : places_) {
    faults_.Add("a worker did not end", "in place " + std::to_string(place));
  }
  if (admin_ != -1) faults_.Add("the administrator's process did not end", "");
}

}  // namespace storm
