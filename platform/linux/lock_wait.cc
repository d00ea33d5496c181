#include "lock_wait.h"

#include <sqlite3.h>

#include <algorithm>
#include <thread>

#include "vexo/random.hpp"

namespace VEXO::platform {
namespace {

using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kTimeout(10);
constexpr milliseconds kTimeoutAfterFailure(250);
constexpr seconds kSameOperation(1);
constexpr seconds kLongWait(1);

// The upper limit of a pause falls from kLongPause to kShortPause by a twentieth of the
// time waited so far.
constexpr microseconds kLongPause(300);
constexpr microseconds kShortPause(50);
constexpr int kDecay = 20;

// A lock held for so long is unlikely to be free soon: poll less often.
constexpr milliseconds kLongHeld(100);
constexpr microseconds kPauseIfLongHeld(1000);

microseconds LongestPause(microseconds waited) {
  if (waited > kLongHeld) return kPauseIfLongHeld;
  return std::max(kShortPause, kLongPause - waited / kDecay);
}

int OnBusy(void* wait, int /*calls*/) { return static_cast<LockWait*>(wait)->Pause(); }

}  // namespace

void LockWait::Install(sqlite3* connection) {
  sqlite3_busy_handler(connection, OnBusy, this);
}

bool LockWait::IsSameOperation() const { return Clock::now() - ended_ < kSameOperation; }

void LockWait::Start() {
  interrupted_ = false;
  const Clock::duration full = failed_ ? Clock::duration(kTimeoutAfterFailure) : kTimeout;
  // Most statements have not waited: for these the clock is not read.
  if (left_ != full && !IsSameOperation()) left_ = full;
}

bool LockWait::Pause() {
  if (!waiting_since_) waiting_since_ = Clock::now();
  if (!watch_ && signals_ == Signals::kEndWait) watch_.emplace();
  const Clock::duration waited = Clock::now() - *waiting_since_;
  if (waited >= left_) return Fail();
  const auto longest =
      static_cast<int>(LongestPause(duration_cast<microseconds>(waited)).count());
  const int pause = RANDOM::VEXORandomBase().random(longest / 4, longest);
  std::this_thread::sleep_for(microseconds(pause));
  interrupted_ = watch_ && watch_->Interrupted();
  return !interrupted_ || Fail();
}

void LockWait::Obtained() {
  if (failed_) left_ = kTimeout;
  failed_ = false;
  if (!waiting_since_) return;
  const Clock::time_point now = Clock::now();
  const Clock::duration waited = now - *waiting_since_;
  Stop();
  if (waited < kLongWait) return;
  left_ -= std::min(left_, waited);
  ended_ = now;
}

bool LockWait::Fail() {
  if (!failed_ || left_ != Clock::duration::zero()) ended_ = Clock::now();
  failed_ = true;
  left_ = Clock::duration::zero();
  Stop();
  return false;
}

void LockWait::Stop() {
  waiting_since_.reset();
  watch_.reset();
}

}  // namespace VEXO::platform
