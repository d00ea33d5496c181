#include "lock_wait.h"

#include <sqlite3.h>

#include <thread>

#include "vexo/random.hpp"

namespace VEXO::platform {
namespace {

constexpr std::chrono::seconds kPatience(10);
constexpr int kShortestPause = 200;  // microseconds
constexpr int kLongestPause = 2000;

int OnBusy(void* wait, int /*calls*/) { return static_cast<LockWait*>(wait)->Pause(); }

}  // namespace

void LockWait::Install(sqlite3* connection) {
  sqlite3_busy_handler(connection, OnBusy, this);
}

void LockWait::Start() { deadline_ = std::chrono::steady_clock::now() + kPatience; }

bool LockWait::Pause() {
  if (std::chrono::steady_clock::now() >= deadline_) return false;
  const int pause = RANDOM::VEXORandomBase().random(kShortestPause, kLongestPause);
  std::this_thread::sleep_for(std::chrono::microseconds(pause));
  return true;
}

}  // namespace VEXO::platform
