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

constexpr seconds kPatience(10);
constexpr seconds kSameOperation(1);

// Pauses are shorter than this, and shrink to kShortPause by a twentieth of the time that
// was waited.
constexpr microseconds kLongPause(500);
constexpr microseconds kShortPause(100);
constexpr int kShrinking = 20;
// A lock that is held for longer than this is in use for something long: hurry would only
// keep the processors busy.
constexpr milliseconds kHurry(100);

microseconds LongestPause(microseconds waited) {
  if (waited > kHurry) return 2 * kLongPause;
  return std::max(kShortPause, kLongPause - waited / kShrinking);
}

int OnBusy(void* wait, int /*calls*/) { return static_cast<LockWait*>(wait)->Pause(); }

}  // namespace

void LockWait::Install(sqlite3* connection) {
  sqlite3_busy_handler(connection, OnBusy, this);
}

void LockWait::Start() {
  begin_ = Clock::now();
  interrupted_ = false;
}

bool LockWait::Pause() { return Pause(SignalWatch()); }

bool LockWait::Pause(const SignalWatch& signals) {
  if (gave_up_) return false;
  const auto waited = duration_cast<microseconds>(Clock::now() - begin_);
  if (waited >= kPatience) return GiveUp();
  const auto longest = static_cast<int>(LongestPause(waited).count());
  const int pause = RANDOM::VEXORandomBase().random(longest / 4, longest);
  std::this_thread::sleep_for(microseconds(pause));
  interrupted_ = signals.Interrupted();
  return !interrupted_ || GiveUp();
}

bool LockWait::JustGaveUp() const {
  return gave_up_ && Clock::now() - gave_up_at_ < kSameOperation;
}

bool LockWait::GiveUp() {
  gave_up_ = true;
  gave_up_at_ = Clock::now();
  return false;
}

}  // namespace VEXO::platform
